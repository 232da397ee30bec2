#include "asic/Runtime.h"

namespace asic {

namespace {

// A plain pointer, so that no constructor and no destructor of a global object takes part: a call
// from another object's destructor at the end of the process meets a valid chip, old or new.
constinit Runtime* instance = nullptr;

[[gnu::destructor]] void unload() noexcept {
    runtimeDel();
}

} // namespace

Runtime& runtime() {
    if (!instance) [[unlikely]]
        instance = new Runtime;
    return *instance;
}

void runtimeDel() noexcept {
    delete instance;
    instance = nullptr;
}

} // namespace asic
