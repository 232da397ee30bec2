#include "agent/terms/CurrentError.h"

#include "driver-status/BfTableException.h"
#include "posix/StateException.h"

namespace LagAgent {

namespace {

Error tableError(const char* exceptionClass, const char* what, std::uint32_t status) {
    const std::string message = what;
    return {ErrorKind::table, message, exceptionClass, message.substr(0, message.find('(')),
            status};
}

} // namespace

Error currentError() {
    try {
        throw;
    } catch (const BfTable::BfTableFull& e) {
        return tableError("BfTable::BfTableFull", e.what(), e.status);
    } catch (const BfTable::BfNoSysResources& e) {
        return tableError("BfTable::BfNoSysResources", e.what(), e.status);
    } catch (const BfTable::BfTableException& e) {
        return tableError("BfTable::BfTableException", e.what(), e.status);
    } catch (const BfTable::BfNotSupported& e) {
        // Neither a BfTableException nor a std::exception to a handler.
        return tableError("BfTable::BfNotSupported", e.what(), e.status);
    } catch (const Posix::StateException& e) {
        return {ErrorKind::storage, e.what()};
    } catch (const Kel::Exception& e) {
        return {ErrorKind::model, e.what()};
    } catch (const std::exception& e) {
        return errorOf(e);
    } catch (...) {
        return {ErrorKind::internal, "unknown exception"};
    }
}

} // namespace LagAgent
