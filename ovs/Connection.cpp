#include "ovs/Connection.h"

#include <array>
#include <utility>

namespace ovs {

using openflow::Bytes;
using openflow::Malformed;
using openflow::Type;

Connection::Connection(const std::string& path) : socket_(path) {
    send(openflow::hello());
    const auto [head, body] = receive();
    if (head.type != Type::hello) {
        throw Malformed("an OpenFlow switch that does not begin with a hello");
    }
    if (!openflow::offersVersion(head.version, body)) {
        throw Malformed("an OpenFlow switch without OpenFlow 1.5");
    }
}

std::uint32_t Connection::send(Bytes message) {
    const std::uint32_t xid = nextXid_++;
    openflow::withXid(message, xid);
    socket_.send(message);
    return xid;
}

std::optional<Connection::Message> Connection::receiveOne() {
    std::array<std::uint8_t, openflow::kHeaderSize> bytes{};
    socket_.receive(bytes);
    Message message{openflow::head(bytes), {}};
    message.body.resize(message.head.length - bytes.size());
    socket_.receive(message.body);
    if (message.head.type != Type::echoRequest) {
        return message;
    }
    Bytes reply = openflow::echoReply(message.body);
    openflow::withXid(reply, message.head.xid);
    socket_.send(reply);
    return std::nullopt;
}

Connection::Message Connection::receive() {
    for (;;) {
        if (auto message = receiveOne()) {
            return std::move(*message);
        }
    }
}

bool Connection::isAlive() noexcept {
    try {
        // Between requests come the switch's own messages only, which are small and few.
        while (socket_.hasInput()) {
            receiveOne();
        }
        return true;
    } catch (...) {
        return false;
    }
}

void Connection::commit(std::vector<Bytes> messages) {
    const std::uint32_t first = nextXid_;
    for (Bytes& message : messages) {
        send(std::move(message));
    }
    const std::uint32_t barrier = send(openflow::barrierRequest());
    std::optional<openflow::Error> refusal;
    for (;;) {
        const auto [head, body] = receive();
        if (head.xid == barrier && head.type == Type::barrierReply) {
            break;
        }
        // Unsigned: an xid from before `first` is a large number.
        const bool isOurs = head.xid - first <= barrier - first;
        if (head.type == Type::error && isOurs && !refusal) {
            refusal = openflow::error(body);
        }
    }
    if (refusal) {
        throw Refused(*refusal);
    }
}

std::vector<Bytes> Connection::ask(Bytes request) {
    const std::uint32_t xid = send(std::move(request));
    std::vector<Bytes> bodies;
    for (;;) {
        auto [head, body] = receive();
        if (head.xid != xid) {
            continue;
        }
        if (head.type == Type::error) {
            throw Refused(openflow::error(body));
        }
        if (head.type != Type::multipartReply) {
            throw Malformed("an OpenFlow answer of another type than the question");
        }
        bodies.push_back(std::move(body));
        if (!openflow::hasMore(bodies.back())) {
            return bodies;
        }
    }
}

} // namespace ovs
