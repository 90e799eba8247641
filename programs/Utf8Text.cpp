#include "Utf8Text.h"

#include <array>
#include <cstdio>
#include <cwchar>

namespace VarnelBase {

namespace {

constexpr const char* Ellipsis = "…";
constexpr const char* Replacement = "�";

struct Character {
    char32_t code;
    std::size_t length; ///< in bytes; 0: not well-formed
};

std::size_t ReadLength(unsigned char lead) {
    if (lead < 0x80) { return 1; }
    if (lead >> 5 == 0x06) { return 2; }
    if (lead >> 4 == 0x0e) { return 3; }
    return lead >> 3 == 0x1e ? 4 : 0;
}

/// Decodes one character (Unicode 15.0, table 3-7).
Character Decode(const std::string& text, std::size_t at) {
    constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = ReadLength(lead);
    if (length == 0 || length > text.size() - at) { return {0, 0}; }
    char32_t code = length == 1 ? lead : lead & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[at + i]);
        if (byte >> 6 != 0x02) { return {0, 0}; }
        code = code << 6 | (byte & 0x3fU);
    }
    const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
    if (code < smallest.at(length) || code > 0x10ffff || isSurrogate) { return {0, 0}; }
    return {code, length};
}

/// Columns of one character; negative: not printable.
int MeasureCharacter(char32_t code) {
    return wcwidth(static_cast<wchar_t>(code));
}

/// Whether a character changes the direction of what follows (Unicode, UAX 9).
bool IsBidirectionalControl(char32_t code) {
    return code == 0x061c || code == 0x200e || code == 0x200f ||
           (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

std::string EscapeUnit(char32_t unit) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned int>(unit));
    return text.data();
}

std::string EscapeCharacter(char32_t code) {
    if (code < 0x10000) { return EscapeUnit(code); }
    const char32_t rest = code - 0x10000;
    return EscapeUnit(0xd800 + (rest >> 10U)) + EscapeUnit(0xdc00 + (rest & 0x3ffU));
}

/// The text with something else for each character that must not reach a terminal.
std::string ReplaceUnprintable(const std::string& text, std::string (*replace)(char32_t code)) {
    std::string printable;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        const bool isPrintable = character.length > 0 && MeasureCharacter(character.code) >= 0 &&
                                 !IsBidirectionalControl(character.code);
        printable += isPrintable ? text.substr(at, character.length) : replace(character.code);
        at += character.length == 0 ? 1 : character.length;
    }
    return printable;
}

} // namespace

std::size_t FindInvalidUtf8(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        if (character.length == 0) { return at; }
        at += character.length;
    }
    return std::string::npos;
}

std::size_t MeasureWidth(const std::string& text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        const int width = MeasureCharacter(character.code);
        columns += width > 0 ? static_cast<std::size_t>(width) : 0;
        at += character.length == 0 ? 1 : character.length;
    }
    return columns;
}

std::string CutToWidth(const std::string& text, std::size_t columns) {
    if (MeasureWidth(text) <= columns) { return text; }
    std::string cut;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t length = Decode(text, at).length;
        const std::string longer = cut + text.substr(at, length == 0 ? 1 : length);
        if (MeasureWidth(longer) + 1 > columns) { break; }
        at += longer.size() - cut.size();
        cut = longer;
    }
    return columns == 0 ? "" : cut + Ellipsis;
}

std::string MakePrintable(const std::string& text) {
    return ReplaceUnprintable(text, [](char32_t /*code*/) { return std::string(Replacement); });
}

std::string MakePrintableLines(const std::string& text) {
    return ReplaceUnprintable(
        text, [](char32_t code) { return std::string(code == '\n' ? "\n" : Replacement); });
}

std::string EscapeUnprintable(const std::string& text) {
    return ReplaceUnprintable(text, [](char32_t code) {
        return code == '\n' ? std::string("\n") : EscapeCharacter(code);
    });
}

} // namespace VarnelBase
