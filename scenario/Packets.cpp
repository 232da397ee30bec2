// lag-packets: sends numbered UDP packets through a switch and says what became of each.
//
// It sends from the interface "s0" of the network namespace "sender", and receives whatever comes
// out of the interfaces "r1", "r2", ... of the namespace "receiver", which are the far ends of the
// switch's ports 1, 2, ... Each line of its standard input is a command:
//
//   report              waits for what is under way, and tells what became of the packets since the
//                       last report; sending goes on afterwards
//   expect ADDRESS=1,2  from now on packets to that address may come out of these ports alone
//   inactive 4,5        the ports of members that should get nothing; counted apart
//
// At the end of the input it shows how the packets were spread. Exits with 0 if every packet came
// out once, and where it might.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <iomanip>
#include <iostream>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <random>
#include <sched.h>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "programs/StandardStreams.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using Ports = std::set<int>;

constexpr std::uint16_t kUdpPort = 7;
// After this long without a packet nothing is under way any more.
constexpr milliseconds kSilence(1000);
constexpr Clock::duration kShortest = milliseconds(1);
// The switch's own receive buffer takes some 270 small packets, and it may be late to look into it
// on a busy machine. No more than this many are under way at once.
constexpr std::uint64_t kMostUnderWay = 150;

struct Options {
    std::map<std::string, Ports> expected; // by address
    Ports inactive;
    int ports = 4;
    int flows = 256; // to each address
    int burst = 100;
    int every = 30; // ms
};

[[noreturn]] void failed(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Ports readPorts(const std::string& text) {
    Ports ports;
    std::istringstream in(text);
    for (std::string port; std::getline(in, port, ',');) {
        ports.insert(std::stoi(port));
    }
    return ports;
}

void expect(Options& options, const std::string& text) {
    const auto equals = text.find('=');
    if (equals == text.npos) {
        throw std::invalid_argument("'" + text + "' is not ADDRESS=PORTS");
    }
    options.expected[text.substr(0, equals)] = readPorts(text.substr(equals + 1));
}

// ---- Sockets

class Socket {
  public:
    explicit Socket(int fd) : fd_(fd) {
        if (fd < 0) {
            failed("a socket");
        }
    }
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&&) = delete;
    ~Socket() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    [[nodiscard]] int fd() const { return fd_; }

    void set(int level, int option, int value, const char* what) const {
        if (::setsockopt(fd_, level, option, &value, sizeof value) != 0) {
            failed(what);
        }
    }

  private:
    int fd_;
};

/// From now on this process makes its sockets in that network namespace.
void enter(const std::string& name) {
    const Socket space(::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC));
    if (::setns(space.fd(), CLONE_NEWNET) != 0) {
        failed("the network namespace " + name);
    }
}

/// One flow to that address: a socket has a source port of its own.
Socket flowTo(const std::string& address) {
    Socket socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // The switch takes the packets as they leave the kernel, which would leave the check sum to the
    // hardware.
    socket.set(SOL_SOCKET, SO_NO_CHECK, 1, "no check sum");
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kUdpPort);
    if (::inet_pton(AF_INET, address.c_str(), &to.sin_addr) != 1) {
        throw std::invalid_argument("'" + address + "' is no address");
    }
    if (::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
        failed("a flow to " + address);
    }
    return socket;
}

/// All that comes in at an interface.
Socket tapOf(const std::string& interface) {
    Socket socket(::socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, htons(ETH_P_IP)));
    socket.set(SOL_SOCKET, SO_RCVBUFFORCE, 32 << 20, "room to receive");
    sockaddr_ll where{};
    where.sll_family = AF_PACKET;
    where.sll_protocol = htons(ETH_P_IP);
    where.sll_ifindex = static_cast<int>(::if_nametoindex(interface.c_str()));
    if (where.sll_ifindex == 0 ||
        ::bind(socket.fd(), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0) {
        failed("the interface " + interface);
    }
    return socket;
}

// ---- Packets

struct Payload {
    std::uint64_t run;
    std::uint64_t number;
};

/// The payload of a frame of ours.
std::optional<Payload> payloadOf(const std::uint8_t* frame, std::size_t size, std::uint64_t run) {
    constexpr std::size_t kHeaders = ETH_HLEN + 20 + 8; // IPv4 without options, UDP
    Payload payload{};
    if (size < kHeaders + sizeof payload || frame[ETH_HLEN] != 0x45) {
        return std::nullopt;
    }
    std::memcpy(&payload, frame + kHeaders, sizeof payload);
    return payload.run == run ? std::optional(payload) : std::nullopt;
}

/// What became of the packets of one report.
struct Account {
    struct Packet {
        const std::string* address;
        std::uint32_t arrivals = 0;
    };
    std::uint64_t first = 0; // number of the first packet
    std::vector<Packet> packets{};
    std::uint64_t arrived = 0; // at least once
    std::uint64_t duplicated = 0;
    std::uint64_t wrongPort = 0;
    std::uint64_t inactive = 0;
    std::uint64_t late = 0; // arrived after their own report

    [[nodiscard]] std::uint64_t lost() const { return packets.size() - arrived; }
    [[nodiscard]] bool isFlawless() const {
        return lost() + duplicated + wrongPort + inactive + late == 0;
    }
    [[nodiscard]] std::string text() const {
        std::ostringstream out;
        out << "sent " << packets.size() << "  received " << arrived << "  lost " << lost()
            << "  duplicated " << duplicated << "  wrong port " << wrongPort << "  inactive "
            << inactive;
        if (late != 0) {
            out << "  late " << late;
        }
        return out.str();
    }
};

class Traffic {
  public:
    explicit Traffic(Options options) : options_(std::move(options)) {
        std::random_device random;
        run_ = std::uint64_t{random()} << 32 | random();
        enter("receiver");
        for (int port = 1; port <= options_.ports; ++port) {
            taps_.push_back(tapOf("r" + std::to_string(port)));
        }
        enter("sender");
        for (const auto& [address, ports] : options_.expected) {
            for (int flow = 0; flow < options_.flows; ++flow) {
                flows_.push_back({&address, flowTo(address)});
            }
        }
    }

    /// Sends and obeys until the input ends. Whether all reports were flawless.
    bool run() {
        while (isOpen_) {
            // A burst that comes late is not made up for: bursts in a row would overflow.
            const auto next = Clock::now() + milliseconds(options_.every);
            sendBurst();
            for (auto now = Clock::now(); isOpen_ && (now < next || isFull()); now = Clock::now()) {
                wait(std::chrono::ceil<milliseconds>(std::max(next - now, kShortest)), true);
            }
        }
        report();
        showSpread();
        return isFlawless_;
    }

  private:
    struct Flow {
        const std::string* address;
        Socket socket;
    };

    void sendBurst() {
        for (int i = 0; i < options_.burst; ++i) {
            const Flow& flow = flows_[number_ % flows_.size()];
            const Payload payload{run_, number_};
            if (::send(flow.socket.fd(), &payload, sizeof payload, 0) != sizeof payload) {
                failed("sending");
            }
            account_.packets.push_back({flow.address});
            ++number_;
        }
    }

    /// Whether so many packets are under way that no more should be. Gives up on them when nothing
    /// comes any more.
    bool isFull() {
        const std::uint64_t missing = account_.lost() - givenUp_;
        if (missing + static_cast<std::uint64_t>(options_.burst) <= kMostUnderWay) {
            return false;
        }
        if (Clock::now() - latest_ < kSilence) {
            return true;
        }
        givenUp_ += missing;
        return false;
    }

    /// Takes what arrives within the time, and obeys if that is wanted.
    void wait(milliseconds time, bool obeys) {
        std::vector<pollfd> polled;
        for (const Socket& tap : taps_) {
            polled.push_back({tap.fd(), POLLIN, 0});
        }
        if (obeys) {
            polled.push_back({STDIN_FILENO, POLLIN, 0});
        }
        if (::poll(polled.data(), polled.size(), static_cast<int>(time.count())) < 0 &&
            errno != EINTR) {
            failed("waiting");
        }
        for (std::size_t i = 0; i < taps_.size(); ++i) {
            if (polled[i].revents != 0) {
                receive(static_cast<int>(i) + 1);
            }
        }
        if (obeys && polled.back().revents != 0) {
            readInput();
        }
    }

    void receive(int port) {
        std::array<std::uint8_t, 2048> frame{};
        for (;;) {
            sockaddr_ll from{};
            socklen_t size = sizeof from;
            const auto length =
                ::recvfrom(taps_[static_cast<std::size_t>(port - 1)].fd(), frame.data(),
                           frame.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
            if (length < 0) {
                return;
            }
            const auto payload = payloadOf(frame.data(), static_cast<std::size_t>(length), run_);
            if (from.sll_pkttype != PACKET_OUTGOING && payload) {
                take(payload->number, port);
            }
        }
    }

    void take(std::uint64_t number, int port) {
        if (number < account_.first) {
            ++account_.late;
            return;
        }
        Account::Packet& packet = account_.packets.at(number - account_.first);
        ++(++packet.arrivals == 1 ? account_.arrived : account_.duplicated);
        if (options_.inactive.contains(port)) {
            ++account_.inactive;
        } else if (!options_.expected.at(*packet.address).contains(port)) {
            ++account_.wrongPort;
        }
        ++spread_[{*packet.address, port}];
        latest_ = Clock::now();
    }

    void readInput() {
        std::array<char, 1024> room{};
        const auto size = ::read(STDIN_FILENO, room.data(), room.size());
        isOpen_ = size > 0;
        if (!isOpen_) {
            return;
        }
        input_.append(room.data(), static_cast<std::size_t>(size));
        for (auto end = input_.find('\n'); end != input_.npos; end = input_.find('\n')) {
            obey(input_.substr(0, end));
            input_.erase(0, end + 1);
        }
    }

    void obey(const std::string& line) {
        const auto space = line.find(' ');
        const std::string word = line.substr(0, space);
        const std::string rest = space == line.npos ? "" : line.substr(space + 1);
        if (word == "report") {
            report();
        } else if (word == "expect") {
            expect(options_, rest);
        } else if (word == "inactive") {
            options_.inactive = readPorts(rest);
        } else {
            throw std::invalid_argument("'" + line + "' is no command");
        }
    }

    void report() {
        const auto began = Clock::now();
        while (account_.lost() != 0 && Clock::now() - std::max(began, latest_) < kSilence) {
            wait(milliseconds(20), false);
        }
        isFlawless_ = isFlawless_ && account_.isFlawless();
        const std::chrono::duration<double> time = began - begin_;
        std::cout << account_.text() << "  a second "
                  << static_cast<std::uint64_t>(account_.packets.size() / time.count())
                  << std::endl;
        account_ = Account{.first = number_};
        givenUp_ = 0;
        begin_ = Clock::now();
    }

    void showSpread() const {
        std::uint64_t most = 1;
        for (const auto& [where, count] : spread_) {
            most = std::max(most, count);
        }
        constexpr std::uint64_t kWidth = 50;
        for (const auto& [where, count] : spread_) {
            std::cout << where.first << "  port " << where.second << "  " << std::setw(8) << count
                      << "  " << std::string(count * kWidth / most, '#') << "\n";
        }
    }

    Options options_;
    std::uint64_t run_ = 0;
    std::vector<Socket> taps_{}; // port 1 first
    std::vector<Flow> flows_{};
    std::uint64_t number_ = 0; // of the next packet
    Account account_{};
    std::uint64_t givenUp_ = 0; // packets of this account that count as under way no more
    Clock::time_point begin_ = Clock::now(); // of the account
    Clock::time_point latest_ = begin_;      // packet to arrive
    std::map<std::pair<std::string, int>, std::uint64_t> spread_{};
    std::string input_{};
    bool isOpen_ = true;
    bool isFlawless_ = true;
};

} // namespace

int main(int argc, char** argv) {
    Programs::occupyClosedStreams();
    Options options;
    CLI::App app("Sends numbered UDP packets through a switch and says what became of each",
                 "lag-packets");
    app.add_option_function<std::vector<std::string>>(
           "--expect",
           [&](const std::vector<std::string>& all) {
               for (const std::string& one : all) {
                   expect(options, one);
               }
           },
           "An address to send to, and the ports out of which its packets may come")
        ->type_name("ADDRESS=PORT,...")
        ->required();
    app.add_option_function<std::string>(
           "--inactive", [&](const std::string& text) { options.inactive = readPorts(text); },
           "Ports of inactive members")
        ->type_name("PORT,...");
    app.add_option("--ports", options.ports, "Number of the switch's ports to receive from");
    app.add_option("--flows", options.flows, "Flows to each address")->check(CLI::PositiveNumber);
    app.add_option("--burst", options.burst, "Packets of a burst")->check(CLI::Range(1, 100));
    app.add_option("--every", options.every, "Milliseconds from burst to burst");
    try {
        app.parse(argc, argv);
        const bool isFlawless = Traffic(options).run();
        return Programs::finalStatus("lag-packets", isFlawless ? 0 : 1, 2);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::cerr << "lag-packets: " << error.what() << std::endl;
        return 2;
    }
}
