#include "HttplibDifferences.h"

#include <sys/select.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "HexText.h"

namespace httplib::detail {
class SocketStream; // The plain header defines it, the one of a compiled library does not.
} // namespace httplib::detail

namespace VarnelBase {

namespace {

template <typename Type, typename = void>
constexpr bool IsDefined = false;
template <typename Type>
constexpr bool IsDefined<Type, std::void_t<decltype(sizeof(Type))>> = true;

/// The number that so many hexadecimal digits at the beginning of a text make.
std::optional<unsigned> ReadHex(std::string_view text, std::size_t digits) {
    if (text.size() < digits) { return std::nullopt; }
    unsigned number = 0;
    const char* end = text.data() + digits;
    if (std::from_chars(text.data(), end, number, 16).ptr != end) { return std::nullopt; }
    return number;
}

/// Appends a character of the basic plane as UTF-8; a half of a surrogate pair is dropped.
void AppendCharacter(std::string& text, unsigned code) {
    const auto append = [&text](unsigned byte) { text += static_cast<char>(byte); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0U | (code >> 6U));
        append(0x80U | (code & 0x3FU));
    } else if (code < 0xD800 || code > 0xDFFF) {
        append(0xE0U | (code >> 12U));
        append(0x80U | ((code >> 6U) & 0x3FU));
        append(0x80U | (code & 0x3FU));
    }
}

/// Whether headers of the same name come in the reverse of the order in which they arrived, as they
/// do in a hash table of libstdc++.
bool IsReversed() {
    httplib::Headers headers;
    headers.emplace("Name", "first");
    headers.emplace("Name", "second");
    return headers.find("Name")->second == "second";
}

} // namespace

std::string EscapeTarget(const std::string& target) {
    constexpr std::string_view special = " +\r\n',;";
    std::string escaped;
    escaped.reserve(target.size());
    for (const char c : target) {
        if (c == '\0') { break; }
        if (static_cast<unsigned char>(c) < 0x80 && special.find(c) == std::string_view::npos) {
            escaped += c;
        } else {
            escaped += EscapeByte(c);
        }
    }
    return escaped;
}

bool IsSendable(const std::string& target) {
    return target.back() != '\t' && std::all_of(target.begin(), target.end(), [](char c) {
               return c == '\t' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
           });
}

ssize_t WriteHeaders(httplib::Stream& stream, const httplib::Headers& headers) {
    std::vector<std::pair<std::string_view, std::string_view>> lines;
    for (const auto& [name, value] : headers) {
        if (!value.empty()) { lines.emplace_back(name, value); }
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const auto& [name, value] : lines) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    text += "\r\n";
    return stream.write(text.data(), text.size());
}

std::string DecodeHeaderValue(const std::string& value) {
    std::string decoded;
    for (std::string_view rest = value; !rest.empty();) {
        const bool isLong = rest.substr(0, 2) == "%u";
        const std::size_t prefix = isLong ? 2 : 1;
        const std::size_t digits = isLong ? 4 : 2;
        const auto code = rest.front() == '%' ? ReadHex(rest.substr(prefix), digits) : std::nullopt;
        if (!code) {
            decoded += rest.front();
            rest.remove_prefix(1);
            continue;
        }
        if (isLong) {
            AppendCharacter(decoded, *code);
        } else {
            decoded += static_cast<char>(*code);
        }
        rest.remove_prefix(prefix + digits);
    }
    return decoded;
}

std::optional<std::string> FindFirstHeader(const httplib::Headers& headers,
                                           const std::string& name) {
    const auto [begin, end] = headers.equal_range(name);
    auto first = begin;
    if (first == end) { return std::nullopt; }
    if (IsReversed()) {
        for (auto next = begin; next != end; ++next) { first = next; }
    }
    if (first->second.empty()) { return std::nullopt; }
    return DecodesHeaderValues ? DecodeHeaderValue(first->second) : first->second;
}

bool CanWaitFor(int descriptor) {
    constexpr bool isPlain = IsDefined<httplib::detail::SocketStream>;
    return !isPlain || HttplibRelease >= 2000 || VARNELBASE_USES_POLL || descriptor < FD_SETSIZE;
}

} // namespace VarnelBase
