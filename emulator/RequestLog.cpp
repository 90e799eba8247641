#include "RequestLog.h"

#include <CryptoText.h>
#include <HexText.h>
#include <UtcTime.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <ostream>

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxExchanges = 10000;
constexpr std::size_t MaxNearest = 3;
constexpr std::size_t MaxKeptBytes = std::size_t{32} << 20U;

std::size_t GetSize(const Exchange& exchange) {
    std::size_t size = exchange.request.target.size() + exchange.request.body.size();
    for (const HeaderLine& line : exchange.request.headers) {
        size += line.first.size() + line.second.size();
    }
    return size;
}

std::string HashHex(const std::string& text) {
    std::string hex;
    for (const char byte : DecodeBase64Url(HashToBase64Url(text))) {
        hex += FormatHex(static_cast<unsigned char>(byte));
    }
    return hex;
}

/// The header's value; of one that holds credentials the scheme, length and hash.
std::string ShowValue(const HeaderLine& line) {
    if (!IsHeader(line.first, {"Authorization", "Proxy-Authorization", "Cookie"})) {
        return line.second;
    }
    const bool isBearer = line.second.rfind("Bearer ", 0) == 0;
    const std::string secret = isBearer ? line.second.substr(7) : line.second;
    return (isBearer ? "Bearer (" : "(") + std::to_string(secret.size()) + " bytes, sha256 " +
           HashHex(secret) + ")";
}

json Summarise(const Exchange& exchange) {
    json document = json::object({{"time", FormatUtcTime(exchange.startedAt)},
                                  {"method", exchange.request.method},
                                  {"target", exchange.request.target},
                                  {"status", json()},
                                  {"durationMs", exchange.durationMs}});
    if (exchange.status != 0) { document["status"] = exchange.status; }
    if (exchange.faultRule != 0) { document["fault"] = exchange.faultRule; }
    return document;
}

json Describe(const Exchange& exchange) {
    json document = Summarise(exchange);
    document["id"] = exchange.number;
    document["headers"] = json::array();
    for (const HeaderLine& line : exchange.request.headers) {
        document["headers"].push_back(
            json::object({{"name", line.first}, {"value", ShowValue(line)}}));
    }
    document["body"] = exchange.request.body;
    return document;
}

/// A request that was asked for in vain, and why it does not count.
std::string DescribeMiss(const Exchange& exchange, const std::vector<std::string>& differences) {
    std::string line = exchange.request.method + " " + exchange.request.target + " (" +
                       (exchange.status == 0 ? "no answer" : std::to_string(exchange.status)) + ")";
    for (const std::string& difference : differences) {
        line += (&difference == &differences.front() ? ": " : "; ") + difference;
    }
    return line;
}

} // namespace

void RequestLog::Add(Exchange exchange) {
    const std::string text = stream == nullptr ? "" : WriteJson(Summarise(exchange)) + "\n";
    const std::lock_guard<std::mutex> lock(mutex);
    if (stream != nullptr) { *stream << text << std::flush; }
    exchange.number = ++added;
    if (feed.HasReaders()) { feed.Publish("request", Describe(exchange)); }
    keptBytes += GetSize(exchange);
    exchanges.push_back(std::move(exchange));
    while (exchanges.size() > MaxExchanges || keptBytes > MaxKeptBytes) {
        keptBytes -= GetSize(exchanges.front());
        exchanges.pop_front();
        ++dropped;
    }
}

json RequestLog::List(const RequestPattern& pattern, std::size_t limit) const {
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<const Exchange*> matching;
    for (const Exchange& exchange : exchanges) {
        if (pattern.Compare(exchange.request, exchange.status).empty()) {
            matching.push_back(&exchange);
        }
    }
    const std::size_t total = matching.size();
    json items = json::array();
    for (std::size_t i = total - std::min(limit, total); i < total; ++i) {
        items.push_back(Describe(*matching[i]));
    }
    return json::object({{"items", std::move(items)}, {"total", total}, {"dropped", dropped}});
}

std::string RequestLog::Check(const json& expectation) const {
    MemberReader members(expectation, "");
    const RequestPattern pattern = RequestPattern::ReadDetails(members);
    const bool hasTimes = members.IsGiven("times");
    if (hasTimes && (members.IsGiven("atLeast") || members.IsGiven("atMost"))) {
        members.Refuse("times", "cannot be combined with atLeast or atMost");
    }
    const std::int64_t times = members.ReadInteger("times", 0, 0, INT32_MAX);
    const std::int64_t usual = members.IsGiven("atMost") ? 0 : 1;
    const std::int64_t least =
        hasTimes ? times : members.ReadInteger("atLeast", usual, 0, INT32_MAX);
    const std::int64_t most =
        hasTimes ? times : members.ReadInteger("atMost", INT32_MAX, 0, INT32_MAX);
    members.RefuseOthers();
    if (least > most) {
        members.Refuse("atLeast", std::to_string(least) + " is more than atMost, which is " +
                                      std::to_string(most));
    }

    std::int64_t matched = 0;
    std::multimap<std::size_t, std::string> others;
    const std::lock_guard<std::mutex> lock(mutex);
    for (const Exchange& exchange : exchanges) {
        const std::vector<std::string> differences =
            pattern.Compare(exchange.request, exchange.status);
        if (differences.empty()) {
            ++matched;
            continue;
        }
        others.emplace(differences.size(), DescribeMiss(exchange, differences));
        if (others.size() > MaxNearest) { others.erase(std::prev(others.end())); }
    }
    if (matched >= least && matched <= most) { return ""; }
    const std::string expected = least == most ? std::to_string(least)
                                 : most == INT32_MAX
                                     ? "at least " + std::to_string(least)
                                     : std::to_string(least) + " to " + std::to_string(most);
    std::string problem = pattern.Describe() + ": expected " + expected + ", but " +
                          std::to_string(matched) + " of " + std::to_string(exchanges.size()) +
                          " requests match";
    for (const auto& other : others) { problem += "\n  near: " + other.second; }
    if (dropped > 0) {
        problem += "\n  " + std::to_string(dropped) + " older requests were forgotten";
    }
    return problem;
}

void RequestLog::Clear() {
    const std::lock_guard<std::mutex> lock(mutex);
    exchanges.clear();
    keptBytes = 0;
    dropped = 0;
    feed.Publish("forget", json());
}

} // namespace VarnelBase::Emulation
