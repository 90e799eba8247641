#pragma once

#include <string>

namespace VarnelBase {

/// A byte as two hexadecimal digits in lower case.
inline std::string FormatHex(unsigned char byte) {
    constexpr const char* digits = "0123456789abcdef";
    return {digits[byte >> 4U], digits[byte & 0xfU]};
}

/// A percent-encoded byte: "%2F" (RFC 3986, section 2.1).
inline std::string EscapeByte(char c) {
    constexpr const char* digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    return {'%', digits[byte >> 4U], digits[byte & 0xfU]};
}

/// The value of a hexadecimal digit; -1 for another character.
inline int ReadHexDigit(char c) {
    if (c >= '0' && c <= '9') { return c - '0'; }
    const char letter = static_cast<char>(c | 0x20);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace VarnelBase
