#include "ovs/Runtime.h"

namespace ovs {

namespace {

// A plain pointer, so that a call from the destructor of a global object elsewhere, at the end of
// the process, meets a valid runtime, old or new.
constinit Runtime* instance = nullptr;

[[gnu::destructor]] void unload() noexcept {
    runtimeDel();
}

} // namespace

Runtime& runtime() {
    if (!instance) {
        instance = new Runtime;
    }
    return *instance;
}

void runtimeDel() noexcept {
    delete instance;
    instance = nullptr;
}

} // namespace ovs
