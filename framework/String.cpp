#include "framework/String.h"

#include <cstdarg>
#include <cstdio>

namespace Kel {

String format(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (length > 0) {
        std::vsnprintf(text.data(), text.size() + 1, pattern, again);
    }
    va_end(again);
    return String(std::move(text));
}

} // namespace Kel
