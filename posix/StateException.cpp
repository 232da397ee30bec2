#include "posix/StateException.h"

namespace Pello {

StateException::~StateException() = default;

} // namespace Pello
