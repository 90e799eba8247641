#include "ContentDisposition.h"

#include <cstddef>
#include <optional>
#include <string_view>

#include "AsciiCase.h"
#include "HexText.h"

namespace VarnelBase {

namespace {

constexpr std::size_t MaxNameBytes = 200;

/// Reads a parameter's value from its first character on, and moves behind it.
std::string ReadValue(const std::string& header, std::size_t& at) {
    std::string value;
    if (at < header.size() && header[at] == '"') {
        for (++at; at < header.size() && header[at] != '"'; ++at) {
            if (header[at] == '\\' && at + 1 < header.size()) { ++at; }
            value += header[at];
        }
        return value;
    }
    while (at < header.size() && header[at] != ';') { value += header[at++]; }
    return value.substr(0, value.find_last_not_of(" \t") + 1);
}

std::string ReadName(const std::string& header, std::size_t& at) {
    std::string name;
    for (; at < header.size() && header[at] != '=' && header[at] != ';'; ++at) {
        if (header[at] != ' ' && header[at] != '\t') { name += header[at]; }
    }
    return LowerCase(name);
}

std::string AppendUtf8(std::string text, unsigned char latin1) {
    if (latin1 < 0x80) { return text += static_cast<char>(latin1); }
    text += static_cast<char>(0xc0 | (latin1 >> 6));
    return text += static_cast<char>(0x80 | (latin1 & 0x3f));
}

/// The value of "filename*": character set, language and percent-encoded bytes. None when it cannot
/// be read.
std::optional<std::string> DecodeExtended(const std::string& value) {
    const std::size_t first = value.find('\'');
    const std::size_t second = first == std::string::npos ? first : value.find('\'', first + 1);
    if (second == std::string::npos) { return {}; }
    const std::string characterSet = LowerCase(value.substr(0, first));
    const bool isLatin1 = characterSet == "iso-8859-1";
    if (!isLatin1 && characterSet != "utf-8") { return {}; }
    std::string text;
    for (std::size_t at = second + 1; at < value.size(); ++at) {
        auto byte = static_cast<unsigned char>(value[at]);
        if (byte == '%') {
            const int high = at + 2 < value.size() ? ReadHexDigit(value[at + 1]) : -1;
            const int low = high >= 0 ? ReadHexDigit(value[at + 2]) : -1;
            if (low < 0) { return {}; }
            byte = static_cast<unsigned char>(high * 16 + low);
            at += 2;
        }
        if (isLatin1) {
            text = AppendUtf8(std::move(text), byte);
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

/// Bytes of the UTF-8 character at the beginning (RFC 3629); 0: there is none.
std::size_t MeasureCharacter(std::string_view text) {
    const auto at = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned int lead = at(0);
    if (lead < 0x80) { return 1; }
    const std::size_t length = lead >= 0xc2 && lead < 0xe0 ? 2
                               : lead < 0xc2               ? 0
                               : lead < 0xf0               ? 3
                               : lead < 0xf5               ? 4
                                                           : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xc0U) != 0x80) { return 0; }
    }
    const bool isOverlong = (lead == 0xe0 && at(1) < 0xa0) || (lead == 0xf0 && at(1) < 0x90);
    const bool isOutside = (lead == 0xed && at(1) >= 0xa0) || (lead == 0xf4 && at(1) >= 0x90);
    return isOverlong || isOutside ? 0 : length;
}

/// Whether a character neither is a control character nor changes the direction of the text around
/// it, which could make "exe.pdf" of a "fdp.exe".
bool IsPlain(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) {
        return first >= 0x20 && first != 0x7f &&
               std::string_view(R"(<>:"|?*)").find(character[0]) == std::string_view::npos;
    }
    const auto second = static_cast<unsigned char>(character[1]);
    if (first == 0xc2 && second < 0xa0) { return false; }
    if (character.size() != 3 || first != 0xe2) { return true; }
    const auto third = static_cast<unsigned char>(character[2]);
    const bool isMark =
        second == 0x80 && ((third >= 0x8e && third <= 0x8f) || (third >= 0xa8 && third <= 0xae));
    const bool isIsolate = second == 0x81 && third >= 0xa6 && third <= 0xa9;
    return !isMark && !isIsolate;
}

std::string MakeSafe(std::string_view name) {
    name.remove_prefix(name.find_last_of("/\\") + 1);
    std::string safe;
    while (!name.empty()) {
        const std::size_t length = MeasureCharacter(name);
        const std::string_view character = name.substr(0, length == 0 ? 1 : length);
        const bool isUsable = length != 0 && IsPlain(character);
        if (safe.size() + character.size() > MaxNameBytes) { break; }
        safe += isUsable ? character : "_";
        name.remove_prefix(character.size());
    }
    const std::size_t begin = safe.find_first_not_of(". ");
    if (begin == std::string::npos) { return {}; }
    return safe.substr(begin, safe.find_last_not_of(". ") + 1 - begin);
}

} // namespace

std::string ReadFileName(const std::string& header) {
    std::string plain;
    std::string extended;
    for (std::size_t at = header.find(';'); at < header.size(); at = header.find(';', at)) {
        const std::string name = ReadName(header, ++at);
        if (at >= header.size() || header[at] != '=') { continue; }
        at = header.find_first_not_of(" \t", at + 1);
        if (at == std::string::npos) { break; }
        const std::string value = ReadValue(header, at);
        if (name == "filename" && plain.empty()) { plain = MakeSafe(value); }
        if (name == "filename*" && extended.empty()) {
            extended = MakeSafe(DecodeExtended(value).value_or(""));
        }
    }
    return extended.empty() ? plain : extended;
}

} // namespace VarnelBase
