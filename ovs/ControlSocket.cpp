#include "ovs/ControlSocket.h"

#include <array>
#include <optional>
#include <string_view>

#include "ovs/UnixSocket.h"

namespace ovs {

namespace {

// The request and the answer are JSON documents, of which little is needed: strings without control
// characters out; in, one string value of an object.

std::string jsonString(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + '"';
}

/// Finds the end of an object as it arrives.
class ObjectEnd {
  public:
    /// Whether the object ends with this character.
    bool takes(char c) {
        if (inString_) {
            if (escaped_ || c == '\\') {
                escaped_ = !escaped_;
            } else if (c == '"') {
                inString_ = false;
            }
            return false;
        }
        inString_ = c == '"';
        depth_ += c == '{' ? 1 : c == '}' ? -1 : 0;
        return c == '}' && depth_ <= 0;
    }

  private:
    int depth_ = 0;
    bool inString_ = false;
    bool escaped_ = false;
};

std::string receiveObject(UnixSocket& socket) {
    std::string object;
    ObjectEnd end;
    std::array<std::uint8_t, 4096> room{};
    for (;;) {
        const std::size_t count = socket.receiveSome(room);
        for (std::size_t i = 0; i < count; ++i) {
            object += static_cast<char>(room[i]);
            if (end.takes(object.back())) {
                return object;
            }
        }
    }
}

/// The string that the name stands for, without what only control characters need. None if it
/// stands for something else. A name within a string cannot be meant: its quotes are escaped.
std::optional<std::string> stringValue(std::string_view object, std::string_view name) {
    const std::string start = jsonString(name) + ":\"";
    const auto at = object.find(start);
    if (at == object.npos) {
        return std::nullopt;
    }
    std::string text;
    for (auto rest = object.substr(at + start.size()); !rest.empty(); rest.remove_prefix(1)) {
        if (rest.front() == '"') {
            return text;
        }
        if (rest.front() != '\\' || rest.size() < 2) {
            text += rest.front();
            continue;
        }
        rest.remove_prefix(1);
        text += rest.front() == 'n' ? '\n' : rest.front();
    }
    return std::nullopt;
}

} // namespace

std::string control(const std::string& socket, const std::string& command,
                    std::span<const std::string> arguments) {
    std::string request = "{\"id\":0,\"method\":" + jsonString(command) + ",\"params\":[";
    for (const std::string& argument : arguments) {
        request += (&argument == arguments.data() ? "" : ",") + jsonString(argument);
    }
    request += "]}";

    UnixSocket stream(socket);
    stream.send({reinterpret_cast<const std::uint8_t*>(request.data()), request.size()});
    const std::string answer = receiveObject(stream);
    if (const auto error = stringValue(answer, "error")) {
        throw NoSwitch(command + ": " + *error);
    }
    if (auto result = stringValue(answer, "result")) {
        return *result;
    }
    throw NoSwitch(command + ": the switch's answer cannot be read");
}

} // namespace ovs
