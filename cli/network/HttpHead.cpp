#include "network/HttpHead.h"

#include <strings.h>

#include <sstream>

namespace VarnelBase {

namespace {

constexpr const char* HeadEnd = "\r\n\r\n";

bool IsSameName(const std::string& one, const std::string& other) {
    return strcasecmp(one.c_str(), other.c_str()) == 0;
}

std::string Trim(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos) { return ""; }
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

} // namespace

std::string HttpHead::Find(const std::string& name) const {
    for (const auto& header : headers) {
        if (IsSameName(header.first, name)) { return header.second; }
    }
    return "";
}

std::size_t FindHeadEnd(const std::string& bytes, std::size_t start) {
    const std::size_t end = bytes.find(HeadEnd, start);
    return end == std::string::npos ? end : end + std::string(HeadEnd).size();
}

HttpHead ParseHead(const std::string& head) {
    HttpHead parsed;
    parsed.size = head.size();
    std::istringstream lines(head);
    std::string line;
    std::getline(lines, line);
    std::istringstream first(line);
    if (line.rfind("HTTP/", 0) == 0) {
        first >> parsed.version >> parsed.status;
        std::getline(first, parsed.reason);
        parsed.reason = Trim(parsed.reason);
    } else {
        first >> parsed.method >> parsed.target >> parsed.version;
    }
    while (std::getline(lines, line)) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) { continue; }
        parsed.headers.emplace_back(line.substr(0, colon), Trim(line.substr(colon + 1)));
    }
    return parsed;
}

std::string ReplaceHost(const std::string& head, const std::string& host) {
    std::size_t begin = head.find('\n') + 1;
    while (begin < head.size()) {
        const std::size_t end = head.find("\r\n", begin);
        if (end == std::string::npos) { break; }
        const std::size_t colon = head.find(':', begin);
        if (colon < end && IsSameName(head.substr(begin, colon - begin), "Host")) {
            return head.substr(0, colon) + ": " + host + head.substr(end);
        }
        begin = end + 2;
    }
    return head;
}

} // namespace VarnelBase
