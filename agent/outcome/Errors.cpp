#include "agent/outcome/Errors.h"

#include <algorithm>
#include <array>

#include "driver-status/BfTableException.h"
#include "platform/Pello/StateException.h"

namespace LagAgent {

namespace {

/// In the order of `ErrorKind`.
constexpr std::array kKindNames{"usage",       "refused", "table",   "model",      "expectation",
                                "unsupported", "start",   "storage", "connection", "internal"};

Error tableError(const char* exceptionClass, const char* what, std::uint32_t status) {
    const std::string message = what;
    return {ErrorKind::table, message, exceptionClass, message.substr(0, message.find('(')),
            status};
}

} // namespace

const char* kindName(ErrorKind kind) {
    return kKindNames.at(static_cast<std::size_t>(kind));
}

std::optional<ErrorKind> kindOfName(std::string_view name) {
    const auto found = std::ranges::find(kKindNames, name,
                                         [](const char* kind) { return std::string_view(kind); });
    if (found == kKindNames.end()) {
        return std::nullopt;
    }
    return static_cast<ErrorKind>(found - kKindNames.begin());
}

std::string Error::text() const {
    if (!status) {
        return message;
    }
    return exceptionClass + ": " + message + " (status " + std::to_string(*status) + ")";
}

void refuse(const std::string& message) {
    throw CommandError(ErrorKind::refused, message);
}

void notAsExpected(const std::string& message) {
    throw CommandError(ErrorKind::expectation, message);
}

Error currentError() {
    try {
        throw;
    } catch (const CommandError& e) {
        return {e.kind(), e.what()};
    } catch (const BfTable::BfTableFull& e) {
        return tableError("BfTable::BfTableFull", e.what(), e.status);
    } catch (const BfTable::BfNoSysResources& e) {
        return tableError("BfTable::BfNoSysResources", e.what(), e.status);
    } catch (const BfTable::BfTableException& e) {
        return tableError("BfTable::BfTableException", e.what(), e.status);
    } catch (const BfTable::BfNotSupported& e) {
        // Neither a BfTableException nor a std::exception to a handler.
        return tableError("BfTable::BfNotSupported", e.what(), e.status);
    } catch (const Pello::StateException& e) {
        return {ErrorKind::storage, e.what()};
    } catch (const Kel::Exception& e) {
        return {ErrorKind::model, e.what()};
    } catch (const std::exception& e) {
        return {ErrorKind::internal, e.what()};
    } catch (...) {
        return {ErrorKind::internal, "unknown exception"};
    }
}

} // namespace LagAgent
