#include "platform/Pello/StateException.h"

namespace Pello {

StateException::~StateException() = default;

} // namespace Pello
