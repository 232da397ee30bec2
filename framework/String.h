#pragma once

#include <compare>
#include <ostream>
#include <string>
#include <string_view>

#include "framework/Export.h"

namespace Kel {

/**
 * The framework's string: a sequence of any bytes, also zero-terminated for C.
 *
 * `IteratorConst` is a plain pointer into the text, as parsers of value strings advance it.
 */
class String {
  public:
    using IteratorConst = const char*;
    using value_type = char;

    String() = default;
    String(const char* text) : text_(text) {}
    String(std::string_view text) : text_(text) {}
    String(std::string text) noexcept : text_(std::move(text)) {}

    IteratorConst begin() const noexcept { return text_.data(); }
    IteratorConst end() const noexcept { return text_.data() + text_.size(); }
    const char* charPtr() const noexcept { return text_.c_str(); }
    std::size_t size() const noexcept { return text_.size(); }
    bool empty() const noexcept { return text_.empty(); }

    operator std::string_view() const noexcept { return text_; }

    friend bool operator==(const String&, const String&) = default;
    friend auto operator<=>(const String&, const String&) = default;
    friend bool operator==(const String& a, const char* b) noexcept { return a.text_ == b; }
    friend String operator+(const String& a, const String& b) { return String(a.text_ + b.text_); }
    friend std::ostream& operator<<(std::ostream& out, const String& s) { return out << s.text_; }

  private:
    std::string text_;
};

/// The name of an entity or of a library: a string used as an identity.
class Name : public String {
  public:
    using String::String;
    Name(const String& text) : String(text) {}
};

/// printf-style formatting into a string.
KEL_EXPORT String format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

} // namespace Kel

template <>
struct std::hash<Kel::String> {
    std::size_t operator()(const Kel::String& s) const noexcept {
        return std::hash<std::string_view>{}(s);
    }
};
template <>
struct std::hash<Kel::Name> : std::hash<Kel::String> {};
