#include "ovs/Boundary.h"

namespace ovs {

namespace {

// Statuses of which the header of the PD API names no operation that returns them.
constexpr Status kCommunicationFailed = 5;
constexpr Status kInitializationError = 11;

void problemIs(const char* text) noexcept {
    try {
        runtime().problem = text;
    } catch (...) {
        // The status remains.
    }
}

} // namespace

Status statusOfException() noexcept {
    try {
        throw;
    } catch (const NoSwitch& error) {
        problemIs(error.what());
        return kCommunicationFailed;
    } catch (const BadSetting& error) {
        problemIs(error.what());
        return kInitializationError;
    } catch (const Refused& error) {
        problemIs(error.what());
        return error.isNoRoom() ? P4_PD_STATUS_NO_SPACE : P4_PD_STATUS_INTERNAL_ERROR;
    } catch (const std::bad_alloc&) {
        problemIs("out of memory");
        return P4_PD_STATUS_NO_SYS_RESOURCES;
    } catch (const std::exception& error) {
        problemIs(error.what());
        return P4_PD_STATUS_INTERNAL_ERROR;
    } catch (...) {
        return P4_PD_STATUS_INTERNAL_ERROR;
    }
}

} // namespace ovs
