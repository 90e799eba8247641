#pragma once

#include <string_view>

namespace VarnelBase {

/// A text without the spaces, tabs and line ends around it.
inline std::string_view TrimBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) { return {}; }
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

} // namespace VarnelBase
