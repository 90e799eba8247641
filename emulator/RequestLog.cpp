#include "RequestLog.h"

#include <openssl/evp.h>
#include <strings.h>

#include <array>
#include <ostream>

#include "UtcTime.h"

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxExchanges = 10000;
constexpr std::size_t MaxKeptBytes = std::size_t{32} << 20U;

std::size_t GetSize(const Exchange& exchange) {
    std::size_t size = exchange.request.target.size() + exchange.request.body.size();
    for (const HeaderLine& line : exchange.request.headers) {
        size += line.first.size() + line.second.size();
    }
    return size;
}

std::string HashHex(const std::string& text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    constexpr const char* digits = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += digits[digest.at(i) >> 4U];
        hex += digits[digest.at(i) & 15U];
    }
    return hex;
}

/// The header's value; of one that holds credentials the scheme, length and hash.
std::string ShowValue(const HeaderLine& line) {
    const bool isSecret = strcasecmp(line.first.c_str(), "Authorization") == 0 ||
                          strcasecmp(line.first.c_str(), "Proxy-Authorization") == 0 ||
                          strcasecmp(line.first.c_str(), "Cookie") == 0;
    if (!isSecret) { return line.second; }
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
    document["headers"] = json::array();
    for (const HeaderLine& line : exchange.request.headers) {
        document["headers"].push_back(
            json::object({{"name", line.first}, {"value", ShowValue(line)}}));
    }
    document["body"] = exchange.request.body;
    return document;
}

} // namespace

void RequestLog::Add(Exchange exchange) {
    const std::string text = stream == nullptr ? "" : WriteJson(Summarise(exchange)) + "\n";
    const std::lock_guard<std::mutex> lock(mutex);
    if (stream != nullptr) { *stream << text << std::flush; }
    keptBytes += GetSize(exchange);
    exchanges.push_back(std::move(exchange));
    while (exchanges.size() > MaxExchanges || keptBytes > MaxKeptBytes) {
        keptBytes -= GetSize(exchanges.front());
        exchanges.pop_front();
        ++dropped;
    }
}

json RequestLog::List() const {
    const std::lock_guard<std::mutex> lock(mutex);
    json items = json::array();
    for (const Exchange& exchange : exchanges) { items.push_back(Describe(exchange)); }
    return json::object(
        {{"items", std::move(items)}, {"total", exchanges.size()}, {"dropped", dropped}});
}

void RequestLog::Clear() {
    const std::lock_guard<std::mutex> lock(mutex);
    exchanges.clear();
    keptBytes = 0;
    dropped = 0;
}

} // namespace VarnelBase::Emulation
