#pragma once

#include <utility>

#include "framework/Export.h"
#include "pd/Operations.h"

namespace BfPdLagGroup {

/// Leaves a trace line that names an operation which the PD library lacks.
KEL_EXPORT void traceMissing(const char* name);

/**
 * One PD function, resolved by its name. Calling it calls the library's function; when the library
 * lacks it, the call returns 17 ("Not supported"), and the first such call is traced.
 */
template <class Function>
class PdOperation {
  public:
    constexpr explicit PdOperation(const char* name) noexcept : name_(name) {}

    const char* name() const noexcept { return name_; }
    bool isBound() const noexcept { return function_ != nullptr; }

    void functionIs(void* symbol) noexcept {
        function_ = reinterpret_cast<Function*>(symbol);
        isMissingTraced_ = false;
    }

    template <class... Arguments>
    pipe_status operator()(Arguments&&... arguments) const {
        if (!function_) [[unlikely]] {
            return missing();
        }
        return function_(std::forward<Arguments>(arguments)...);
    }

  private:
    pipe_status missing() const {
        if (!std::exchange(isMissingTraced_, true)) {
            traceMissing(name_);
        }
        return P4_PD_STATUS_NOT_SUPPORTED;
    }

    const char* name_;
    Function* function_ = nullptr;
    mutable bool isMissingTraced_ = false;
};

/// The operations that the driver calls, each a callable under the name of its PD function.
struct PdOperations {
#define BF_PD_DECLARE_OPERATION(name, ...) PdOperation<decltype(::name)> name{#name};
    PD_DRIVER_OPERATIONS(BF_PD_DECLARE_OPERATION)
#undef BF_PD_DECLARE_OPERATION

    /// Calls `visit(operation)` for every operation.
    template <class Visit>
    void forEach(Visit&& visit) {
#define BF_PD_VISIT_OPERATION(name, ...) visit(name);
        PD_DRIVER_OPERATIONS(BF_PD_VISIT_OPERATION)
#undef BF_PD_VISIT_OPERATION
    }
};

} // namespace BfPdLagGroup
