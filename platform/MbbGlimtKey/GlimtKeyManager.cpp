#include "platform/MbbGlimtKey/GlimtKeyManager.h"

namespace MbbGlimtKey {

constinit const Kel::Type GlimtKeyManager::fwkType_{.name = "MbbGlimtKey::GlimtKeyManager",
                                                    .kind = Kel::Type::Kind::object,
                                                    .base = &Kel::PtrInterface::fwkType_};

} // namespace MbbGlimtKey
