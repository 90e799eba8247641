#include "network/HttpMessage.h"

#include <AsciiCase.h>

#include <algorithm>
#include <limits>
#include <sstream>

namespace VarnelBase {

namespace {

constexpr const char* HeadEnd = "\r\n\r\n";

bool IsSameName(const std::string& one, const std::string& other) {
    return LowerCase(one) == LowerCase(other);
}

std::string TrimBlanks(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos) { return ""; }
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

/// A number in the digits of a base; none of it: the largest there is.
std::size_t ParseSize(const std::string& digits, int base) {
    constexpr std::size_t invalid = std::numeric_limits<std::size_t>::max();
    const char* allowed = base == 16 ? "0123456789abcdefABCDEF" : "0123456789";
    const bool isNumber = !digits.empty() && digits.size() < 16 &&
                          digits.find_first_not_of(allowed) == std::string::npos;
    return isNumber ? std::stoull(digits, nullptr, base) : invalid;
}

} // namespace

std::string HttpHead::Find(const std::string& name) const {
    for (const auto& header : headers) {
        if (IsSameName(header.first, name)) { return header.second; }
    }
    return "";
}

std::string ReadBearerToken(const HttpHead& request) {
    const std::string value = request.Find("Authorization");
    const std::string scheme = "Bearer ";
    return value.rfind(scheme, 0) == 0 ? value.substr(scheme.size()) : "";
}

std::size_t FindHeadEnd(std::string_view bytes) {
    const std::size_t end = bytes.find(HeadEnd);
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
        parsed.reason = TrimBlanks(parsed.reason);
    } else {
        first >> parsed.method >> parsed.target >> parsed.version;
    }
    while (std::getline(lines, line)) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) { continue; }
        parsed.headers.emplace_back(line.substr(0, colon), TrimBlanks(line.substr(colon + 1)));
    }
    return parsed;
}

std::string ReplaceHeader(const std::string& head, const std::string& name,
                          const std::string& value) {
    std::size_t begin = head.find('\n') + 1;
    while (begin < head.size()) {
        const std::size_t end = head.find("\r\n", begin);
        if (end == std::string::npos) { break; }
        const std::size_t colon = head.find(':', begin);
        if (colon < end && IsSameName(head.substr(begin, colon - begin), name)) {
            return head.substr(0, colon) + ": " + value + head.substr(end);
        }
        begin = end + 2;
    }
    return head;
}

std::size_t MessageReader::Take(std::string_view bytes) {
    std::size_t taken = 0;
    while (taken < bytes.size() && !IsComplete()) {
        const std::string_view rest = bytes.substr(taken);
        switch (state) {
            case State::Head:
                taken += TakeHead(rest);
                break;
            case State::ChunkSize:
            case State::ChunkEnd:
            case State::Trailer:
                taken += TakeLine(rest);
                break;
            default:
                taken += TakeBody(rest);
        }
    }
    return taken;
}

std::size_t MessageReader::TakeHead(std::string_view bytes) {
    const std::size_t before = collected.size();
    collected += bytes;
    const std::size_t end = FindHeadEnd(collected);
    if (end == std::string::npos) {
        if (collected.size() > MaxHttpHeadBytes) { Break("has a header that does not end"); }
        return bytes.size();
    }
    head = ParseHead(collected.substr(0, end));
    collected.clear();
    const bool isInterim = head.status >= 100 && head.status <= 199 && head.status != 101;
    if (answered != nullptr && head.status == 0) {
        Break("is not HTTP");
    } else if (!isInterim) {
        BeginBody();
    }
    return end - before;
}

void MessageReader::BeginBody() {
    const bool hasNoBody = answered != nullptr &&
                           (answered->method == "HEAD" || head.status == 204 || head.status == 304);
    const std::string given = head.Find("Content-Length");
    if (hasNoBody) {
        state = State::Complete;
    } else if (IsSameName(head.Find("Transfer-Encoding"), "chunked")) {
        state = State::ChunkSize;
    } else if (!given.empty()) {
        left = length = ParseSize(given, 10);
        state = left == 0 ? State::Complete : State::Length;
        if (left == std::numeric_limits<std::size_t>::max()) {
            Break("has a Content-Length that is not a number");
        }
    } else {
        state = answered == nullptr ? State::Complete : State::Close;
    }
}

std::size_t MessageReader::TakeLine(std::string_view bytes) {
    const std::size_t end = bytes.find('\n');
    const std::size_t taken = end == std::string_view::npos ? bytes.size() : end + 1;
    collected += bytes.substr(0, taken);
    if (end == std::string_view::npos) { return taken; }
    const std::string line = TrimBlanks(collected.substr(0, collected.size() - 1));
    collected.clear();
    if (state == State::ChunkSize) {
        left = ParseSize(TrimBlanks(line.substr(0, line.find(';'))), 16);
        state = left == 0 ? State::Trailer : State::Chunk;
        if (left == std::numeric_limits<std::size_t>::max()) {
            Break("has a chunk without a size");
        }
    } else if (state == State::ChunkEnd) {
        state = State::ChunkSize;
        if (!line.empty()) { Break("has a chunk that is longer than its size"); }
    } else if (line.empty()) {
        state = State::Complete;
    }
    return taken;
}

std::size_t MessageReader::TakeBody(std::string_view bytes) {
    const bool isCounted = state == State::Length || state == State::Chunk;
    const std::size_t taken = isCounted ? std::min(left, bytes.size()) : bytes.size();
    bodyBytes += taken;
    if (bodyBytes <= limit) { body += bytes.substr(0, taken); }
    if (bodyBytes > limit) { body.clear(); }
    if (!isCounted) { return taken; }
    left -= taken;
    if (left == 0) { state = state == State::Length ? State::Complete : State::ChunkEnd; }
    return taken;
}

void MessageReader::End() {
    if (state == State::Close) { state = State::Complete; }
    if (IsComplete() || state == State::Broken) { return; }
    if (state == State::Length) {
        problem =
            "ended after " + std::to_string(bodyBytes) + " of " + std::to_string(length) + " bytes";
    } else if (state != State::Head) {
        problem = "ended in the middle of its chunks";
    } else {
        const bool isHttp = answered == nullptr || collected.rfind("HTTP/", 0) == 0;
        problem = collected.empty() ? "did not come"
                  : isHttp          ? "ended within its header"
                                    : "is not HTTP";
    }
}

void MessageReader::Break(const std::string& reason) {
    problem = reason;
    state = State::Broken;
}

} // namespace VarnelBase
