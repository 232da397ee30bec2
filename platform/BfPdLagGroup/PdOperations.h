#pragma once

#include <utility>

#include "framework/Export.h"
#include "pd/p4_pd_velmor_switch.h"

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

/// Every PD operation that the driver calls. `X(name)` is applied to each.
#define BF_PD_LAG_GROUP_OPERATIONS(X)                                                              \
    X(p4_pd_velmor_switch_lagGroup_set_property)                                                   \
    X(p4_pd_velmor_switch_lagGroup_add_entry)                                                      \
    X(p4_pd_velmor_switch_lagGroup_add_entry_with_selector)                                        \
    X(p4_pd_velmor_switch_lagGroup_modify_entry)                                                   \
    X(p4_pd_velmor_switch_lagGroup_modify_entry_with_selector)                                     \
    X(p4_pd_velmor_switch_lagGroup_set_default_entry)                                              \
    X(p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector)                                \
    X(p4_pd_velmor_switch_lagGroup_table_delete)                                                   \
    X(p4_pd_velmor_switch_lagGroup_table_reset_default_entry)                                      \
    X(p4_pd_velmor_switch_lagGroup_get_entry)                                                      \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment)              \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort)          \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort)                         \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort)                    \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo)                      \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment)           \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort)       \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort)                      \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort)                 \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo)                   \
    X(p4_pd_velmor_switch_lagPortActionProfile_del_member)                                         \
    X(p4_pd_velmor_switch_lagPortActionProfile_create_group)                                       \
    X(p4_pd_velmor_switch_lagPortActionProfile_del_group)                                          \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group)                                \
    X(p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group)                              \
    X(p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set)

/// The resolved operations, each a callable under the name of its PD function.
struct PdOperations {
#define BF_PD_DECLARE_OPERATION(name) PdOperation<decltype(::name)> name{#name};
    BF_PD_LAG_GROUP_OPERATIONS(BF_PD_DECLARE_OPERATION)
#undef BF_PD_DECLARE_OPERATION

    /// Calls `visit(operation)` for every operation.
    template <class Visit>
    void forEach(Visit&& visit) {
#define BF_PD_VISIT_OPERATION(name) visit(name);
        BF_PD_LAG_GROUP_OPERATIONS(BF_PD_VISIT_OPERATION)
#undef BF_PD_VISIT_OPERATION
    }
};

} // namespace BfPdLagGroup
