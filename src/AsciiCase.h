#pragma once

#include <algorithm>
#include <string>

namespace VarnelBase {

/// Lowers the letters A to Z, whatever the locale.
inline std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

} // namespace VarnelBase
