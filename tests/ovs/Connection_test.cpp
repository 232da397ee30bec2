// The connection to a switch that does not do what it should.

#include "ovs/Connection.h"

#include <array>
#include <cstring>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ovs {
namespace {

using openflow::Bytes;

/// The other side of one connection, in a thread of its own.
class FakeSwitch {
  public:
    /// `behave` begins when a client has connected; the connection ends with it.
    explicit FakeSwitch(std::function<void(FakeSwitch&)> behave)
        : path_(testing::TempDir() + "switch." + std::to_string(::getpid())) {
        ::unlink(path_.c_str());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        listener_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
        EXPECT_EQ(0,
                  ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        EXPECT_EQ(0, ::listen(listener_, 1));
        done_ = std::async(std::launch::async, [this, behave = std::move(behave)] {
            client_ = ::accept(listener_, nullptr, nullptr);
            behave(*this);
            ::close(client_);
        });
    }
    ~FakeSwitch() {
        ::shutdown(listener_, SHUT_RDWR); // for one that nobody has connected to
        done_.wait();
        ::close(listener_);
        ::unlink(path_.c_str());
    }
    FakeSwitch(const FakeSwitch&) = delete;
    FakeSwitch& operator=(const FakeSwitch&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

    /// The next message of the client; empty if it has gone.
    Bytes take() {
        Bytes message(openflow::kHeaderSize);
        if (!fill(message.data(), message.size())) {
            return {};
        }
        const std::size_t rest = openflow::head(message).length - message.size();
        message.resize(message.size() + rest);
        EXPECT_TRUE(fill(message.data() + openflow::kHeaderSize, rest));
        return message;
    }
    void give(const Bytes& bytes) {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  ::send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    void giveHello() {
        take();
        give(openflow::hello());
    }

  private:
    bool fill(std::uint8_t* to, std::size_t size) {
        return size == 0 || ::recv(client_, to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

    std::string path_;
    int listener_ = -1;
    int client_ = -1;
    std::future<void> done_;
};

/// A message without a body, of that type and transaction.
Bytes message(openflow::Type type, std::uint32_t xid, const Bytes& body = {}) {
    Bytes bytes{openflow::kVersion, static_cast<std::uint8_t>(type), 0,
                static_cast<std::uint8_t>(openflow::kHeaderSize + body.size())};
    bytes.resize(openflow::kHeaderSize);
    openflow::withXid(bytes, xid);
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}
std::uint32_t xidOf(const Bytes& bytes) {
    return openflow::head(bytes).xid;
}
Bytes anyChange() {
    return openflow::flowMod(openflow::FlowCommand::add, {.table = 1});
}

TEST(Connection, NobodyThereIsNoSwitch) {
    EXPECT_THROW(Connection("/nowhere/br.mgmt"), NoSwitch);
    EXPECT_THROW(Connection(""), NoSwitch);
    EXPECT_THROW(Connection(std::string(200, 'x')), NoSwitch);
}

TEST(Connection, ASwitchOfAnotherVersionIsMalformed) {
    FakeSwitch fake([](FakeSwitch& self) {
        self.take();
        Bytes hello = message(openflow::Type::hello, 1);
        hello[0] = 4;
        self.give(hello);
    });
    EXPECT_THROW(Connection connection(fake.path()), openflow::Malformed);
}

TEST(Connection, ASwitchThatBeginsWithGarbageIsMalformed) {
    FakeSwitch fake([](FakeSwitch& self) {
        self.take();
        self.give(Bytes(64, 0));
    });
    EXPECT_THROW(Connection connection(fake.path()), openflow::Malformed);
}

TEST(Connection, ASwitchThatLeavesInTheMiddleIsGone) {
    FakeSwitch fake([](FakeSwitch& self) {
        self.giveHello();
        self.take();
        self.give({openflow::kVersion, 21, 0}); // the beginning of an answer
    });
    Connection connection(fake.path());
    EXPECT_THROW(connection.commit({anyChange()}), NoSwitch);
    EXPECT_FALSE(connection.isAlive());
}

TEST(Connection, ARefusalOfOneMessageIsKnownWhenAllAreDone) {
    FakeSwitch fake([](FakeSwitch& self) {
        self.giveHello();
        const Bytes first = self.take(), second = self.take(), barrier = self.take();
        self.give(message(openflow::Type::error, xidOf(second), {0, 6, 0, 3}));
        self.give(message(openflow::Type::error, 0, {0, 1, 0, 1})); // about nothing of this client
        self.give(message(openflow::Type::barrierReply, xidOf(barrier)));
        const Bytes next = self.take();
        self.give(message(openflow::Type::barrierReply, xidOf(self.take())));
    });
    Connection connection(fake.path());
    try {
        connection.commit({anyChange(), anyChange()});
        FAIL() << "nothing was refused";
    } catch (const Refused& refusal) {
        EXPECT_TRUE(refusal.isNoRoom());
        EXPECT_STREQ("the switch refuses: error 6, code 3", refusal.what());
    }
    connection.commit({anyChange()}); // it is still of use
}

TEST(Connection, TheSwitchsOwnRequestsAreAnswered) {
    Bytes answer;
    {
        FakeSwitch fake([&](FakeSwitch& self) {
            self.giveHello();
            self.take();
            const Bytes barrier = self.take();
            self.give(message(openflow::Type::echoRequest, 77, {1, 2, 3}));
            answer = self.take();
            self.give(message(openflow::Type::barrierReply, xidOf(barrier)));
        });
        Connection connection(fake.path());
        connection.commit({anyChange()});
    }
    EXPECT_EQ(message(openflow::Type::echoReply, 77, {1, 2, 3}), answer);
}

TEST(Connection, AnAnswerOfAnotherTypeIsMalformed) {
    FakeSwitch fake([](FakeSwitch& self) {
        self.giveHello();
        self.give(message(openflow::Type::barrierReply, xidOf(self.take())));
    });
    Connection connection(fake.path());
    EXPECT_THROW(static_cast<void>(connection.ask(openflow::groupRequest())), openflow::Malformed);
}

TEST(Connection, AnAnswerMayComeInParts) {
    FakeSwitch fake([](FakeSwitch& self) {
        self.giveHello();
        const std::uint32_t xid = xidOf(self.take());
        self.give(message(openflow::Type::multipartReply, xid, {0, 7, 0, 1, 0, 0, 0, 0}));
        self.give(message(openflow::Type::multipartReply, xid, {0, 7, 0, 0, 0, 0, 0, 0}));
    });
    Connection connection(fake.path());
    EXPECT_EQ(2u, connection.ask(openflow::groupRequest()).size());
}

} // namespace
} // namespace ovs
