#include "RequestTarget.h"

#include <HexText.h>

namespace VarnelBase {

std::vector<std::string> SplitText(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) { return parts; }
        begin = end + 1;
    }
}

std::string DecodePercent(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool canEscape = text[i] == '%' && i + 2 < text.size();
        const int high = canEscape ? ReadHexDigit(text[i + 1]) : -1;
        const int low = canEscape ? ReadHexDigit(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

std::string TakeOriginForm(const std::string& url) {
    std::string whole = url.substr(0, url.find('#'));
    const std::size_t scheme = whole.find("://");
    if (scheme == std::string::npos || whole.front() == '/') { return whole; }
    const std::size_t begin = whole.find_first_of("/?", scheme + 3);
    if (begin == std::string::npos) { return "/"; }
    return (whole[begin] == '/' ? "" : "/") + whole.substr(begin);
}

std::multimap<std::string, std::string> ParseQuery(const std::string& target) {
    std::multimap<std::string, std::string> query;
    const std::size_t mark = target.find('?');
    if (mark == std::string::npos) { return query; }
    for (const std::string& part : SplitText(target.substr(mark + 1), '&')) {
        const std::size_t equals = part.find('=');
        const std::string value = equals == std::string::npos ? "" : part.substr(equals + 1);
        query.emplace(DecodePercent(part.substr(0, equals)), DecodePercent(value));
    }
    return query;
}

} // namespace VarnelBase
