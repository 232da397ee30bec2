#include "platform/Pello/CorruptionDetectedException.h"

namespace Pello {

namespace {
constexpr Kel::Exception::Id kSharedMemory = 64;
} // namespace

Exception::Exception(Kel::String message) : Kel::Exception(kSharedMemory, std::move(message)) {}
Exception::~Exception() = default;
Kel::Exception::Id Exception::id() const noexcept {
    return kSharedMemory;
}
CorruptionDetectedException::~CorruptionDetectedException() = default;

} // namespace Pello
