#include "tests/asic/PdOperations.h"

#include "pd/Operations.h"

#include <tuple>
#include <type_traits>
#include <utility>

namespace asic_test {

namespace {

/// Makes the arguments of one call, in their order.
class Passing {
  public:
    Passing(const Call& call, Arguments& arguments) : call_(call), arguments_(arguments) {}

    template <class T>
    T next() {
        const bool isFirst = !std::exchange(isBegun_, true);
        if constexpr (std::is_pointer_v<T>)
            return nextPointer(T{});
        else if constexpr (std::is_same_v<T, Target>)
            return call_.target;
        else if constexpr (std::is_same_v<T, int>)
            return call_.target.device_id;
        else if constexpr (std::is_same_v<T, std::uint32_t>)
            return isFirst ? call_.session : kUnknown;
        else
            return T{1};
    }

  private:
    template <class T>
    T* nextPointer(T*) {
        T* const output = &outputOf(T{});
        return pointers_++ == call_.null ? nullptr : output;
    }

    auto& outputOf(p4_pd_velmor_switch_lagGroup_match_spec_t) { return arguments_.matchSpec; }
    auto& outputOf(p4_pd_velmor_switch_setLagPort_action_spec_t) { return arguments_.actionSpec; }
    auto& outputOf(p4_pd_velmor_switch_usage_t) { return arguments_.usage; }
    auto& outputOf(std::uint32_t) { return arguments_.numbers.at(numbers_++); }
    auto& outputOf(std::uint16_t) { return arguments_.size; }
    auto& outputOf(bool) { return arguments_.flags.at(flags_++); }

    const Call& call_;
    Arguments& arguments_;
    bool isBegun_ = false;
    int pointers_ = 0;
    std::size_t numbers_ = 0;
    std::size_t flags_ = 0;
};

template <class First, class... Rest>
PdOperation describe(const char* name, pipe_status (*function)(First, Rest...)) {
    constexpr bool takesTarget = (... || std::is_same_v<Rest, Target>);
    return {.name = name,
            .takesSession = std::is_same_v<First, Session>,
            .takesDevice = takesTarget || (... || std::is_same_v<Rest, int>),
            .takesTarget = takesTarget,
            .pointers = std::is_pointer_v<First> + (0 + ... + std::is_pointer_v<Rest>),
            .call = [function](const Call& call, Arguments& arguments) {
                Passing passing(call, arguments);
                return std::apply(function, std::tuple<First, Rest...>{passing.next<First>(),
                                                                       passing.next<Rest>()...});
            }};
}

} // namespace

const std::vector<PdOperation>& pdOperations() {
#define ASIC_TEST_DESCRIBE(function, ...) describe(#function, function),
    static const std::vector<PdOperation> operations{PD_OPERATIONS(ASIC_TEST_DESCRIBE)};
#undef ASIC_TEST_DESCRIBE
    return operations;
}

} // namespace asic_test
