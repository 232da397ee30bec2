#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "agent/outcome/CommandRunner.h"

namespace LagAgent {

// clang-format off
/**
 * What daemon and client say to each other: one JSON document a line.
 *
 *     daemon:  {"hello":"lag-agent","protocol":2,"version":"1.0.0"}    once, or an answer with an error
 *     client:  {"run":"show members","calls":true}                     a command line, or
 *              {"complete":"show"}                                     the beginning of one, or
 *              {"end":true}                                            the end of the script
 *     daemon:  {"parts":[...],"error":{...},"expectedError":{...},     the answer
 *               "calls":[...],"over":true,
 *               "continuations":["asic","calls",...]}                   what may follow the beginning
 *
 * A command line is a sequence of bytes: each of them is one character, U+0000 to U+00FF, of the
 * string. With "calls" the answer has the PD calls that the command made, and without it not. What
 * an answer does not need to say, it leaves out. Unknown members are ignored, so that either side
 * can learn to say more. Every request gets one answer, in order.
 *
 * What a command has to say comes in parts, each of which is a table or another value with its
 * text. The client makes text or JSON of them:
 *
 *     {"name":"entries","title":"entries:\n","columns":["value","target",...],
 *      "rows":[[{"hex":255},"group 10",...],...]}
 *     {"name":"writes","value":3,"text":"writes: 3\n"}
 *
 * In a table, {"hex":N} is a number that people read in hexadecimal. A table with "lines" shows
 * people the columns of these numbers, counted from 0, as plain lines.
 *
 * Nothing received is believed: what is no such document throws `CommandError` (connection).
 */
// clang-format on
namespace Wire {

inline constexpr std::uint32_t kProtocol = 2;
/// Of a request and of an answer, in bytes. A command line needs a hundred; the tables of a chip
/// that is full make an answer of tens of millions.
inline constexpr std::size_t kLongestRequest = 1 << 16;
inline constexpr std::size_t kLongestAnswer = 1 << 30;

std::string hello();
/// Checks that it is one of this protocol; throws the error that a daemon says instead.
void readHello(std::string_view document);

struct Request {
    /// A command line to be carried out.
    std::optional<std::string> line{};
    WantedCalls calls = WantedCalls::none;
    /// Words of which to tell what may follow. Without this and a line the script is at its end.
    std::optional<std::string> begun{};
};
std::string encode(const Request& request);
Request requestOf(std::string_view document);

struct Answer {
    /// Without its command, which the client knows.
    Outcome outcome{};
    /// The script is over.
    bool isOver = false;
    /// What may follow the words that were asked about.
    std::vector<std::string> continuations{};
};
/// The answer's line, written piece by piece: what it has to say may be long.
Pieces encode(Answer answer);
Answer answerOf(std::string_view document);

} // namespace Wire

} // namespace LagAgent
