#include "platform/RuxTableStatusManager/StatusManager.h"

namespace RuxTableStatusManager {

constinit const Kel::Type StatusManager::fwkType_{.name = "RuxTableStatusManager::StatusManager",
                                                  .kind = Kel::Type::Kind::object,
                                                  .base = &Kel::PtrInterface::fwkType_};

} // namespace RuxTableStatusManager
