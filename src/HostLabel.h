#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

namespace VarnelBase {

/// Whether a text can be one label of a host name (RFC 1123, section 2.1).
inline bool IsHostLabel(const std::string& text) {
    constexpr std::size_t maxLabelLength = 63;
    const auto isLabelCharacter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-';
    };
    return !text.empty() && text.size() <= maxLabelLength && text.front() != '-' &&
           text.back() != '-' && std::all_of(text.begin(), text.end(), isLabelCharacter);
}

} // namespace VarnelBase
