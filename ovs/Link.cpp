#include "ovs/Link.h"

#include <algorithm>
#include <random>
#include <utility>

#include "ovs/ControlSocket.h"
#include "ovs/Mapping.h"

namespace ovs {

using openflow::Bytes;
using openflow::FlowCommand;
using openflow::GroupCommand;

namespace {

// Each start of the agent skips what is left of a block.
constexpr Handle kHandleBlock = 256;

std::uint64_t anyBoot() {
    std::random_device device;
    std::uniform_int_distribution<std::uint64_t> any(1);
    return any(device);
}

Bytes mark(Mark mark, std::uint64_t number) {
    return openflow::flowMod(FlowCommand::add, toFlow(mark, number));
}

} // namespace

template <class Function>
auto Link::use(const Function& function) {
    if (!connection_) {
        throw NoSwitch("the connection to the switch was lost");
    }
    try {
        return function(*connection_);
    } catch (const Refused&) {
        throw;
    } catch (...) {
        connection_.reset();
        throw;
    }
}

void Link::connect() {
    if (connection_ && !connection_->isAlive()) {
        connection_.reset();
    }
    if (!connection_) {
        isStale_ = true;
        connection_.emplace(settings_.management);
    }
}

template <class Value>
std::vector<Value> Link::ask(Bytes request, std::vector<Value> (*read)(openflow::ByteView)) {
    return use([&](Connection& connection) {
        std::vector<Value> values;
        for (const Bytes& body : connection.ask(std::move(request))) {
            auto part = read(body);
            std::ranges::move(part, std::back_inserter(values));
        }
        return values;
    });
}

void Link::commit(std::vector<Bytes> messages) {
    use([&](Connection& connection) { connection.commit(std::move(messages)); });
    if (settings_.waitsForForwarding) {
        static_cast<void>(control(settings_.control, "revalidator/wait", {}));
    }
}

Tables& Link::tables() {
    connect();
    if (isStale_) {
        load();
    }
    return tables_;
}

void Link::load() {
    auto marks = ask(openflow::flowRequest(kMarkTable), openflow::flows);
    if (!numberOf(Mark::boot, marks)) {
        initialise();
        marks = ask(openflow::flowRequest(kMarkTable), openflow::flows);
    }
    const std::uint64_t boot = numberOf(Mark::boot, marks).value_or(0);
    // Without the mark nobody knows which handles are new; so none is.
    const auto marked = numberOf(Mark::handles, marks).value_or(kLastHandle + 1);
    const auto next = static_cast<Handle>(std::min<std::uint64_t>(marked, kLastHandle + 1));
    // Where the mark is this process's own, what is left of the block is, too.
    if (boot != boot_ || next != markedHandle_) {
        nextHandle_ = markedHandle_ = next;
    }
    boot_ = boot;
    tables_ = toTables(settings_.table, ask(openflow::groupRequest(), openflow::groups), flows());
    isStale_ = false;
}

void Link::initialise() {
    const auto removeAll = [](std::uint8_t table) {
        return openflow::flowMod(FlowCommand::remove, {.table = table});
    };
    commit({removeAll(kMarkTable), removeAll(settings_.table),
            openflow::groupMod(GroupCommand::remove, {.id = openflow::kAllGroups}),
            openflow::groupMod(GroupCommand::add, deadGroup()), mark(Mark::handles, 1)});
    // Last, and by itself: who finds it finds all the others.
    commit({mark(Mark::boot, anyBoot())});
}

void Link::powerCycle() {
    connect();
    forgetTables();
    initialise();
}

Handle Link::takeHandle(std::vector<Bytes>& messages) {
    if (nextHandle_ > kLastHandle) {
        return kNoHandle;
    }
    if (nextHandle_ == markedHandle_) {
        forgetTables(); // unless the change comes about
        markedHandle_ += std::min(kHandleBlock, kLastHandle + 1 - nextHandle_);
        messages.push_back(mark(Mark::handles, markedHandle_));
    }
    return nextHandle_++;
}

std::uint64_t Link::boot() {
    connect();
    const auto marks = ask(openflow::flowRequest(kMarkTable), openflow::flows);
    if (numberOf(Mark::boot, marks) != boot_) {
        forgetTables();
    }
    static_cast<void>(tables());
    return boot_;
}

std::vector<openflow::Flow> Link::flows() {
    return ask(openflow::flowRequest(settings_.table), openflow::flows);
}

std::vector<openflow::GroupCounters> Link::groupCounters() {
    return ask(openflow::groupCountersRequest(openflow::kAllGroups), openflow::groupCounters);
}

std::vector<openflow::PortCounters> Link::portCounters() {
    return ask(openflow::portCountersRequest(), openflow::portCounters);
}

} // namespace ovs
