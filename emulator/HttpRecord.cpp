#include "HttpRecord.h"

#include <CryptoText.h>
#include <HarDocument.h>
#include <PrivateFile.h>
#include <RequestTarget.h>

#include <algorithm>
#include <filesystem>

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxRecordBytes = std::size_t{1} << 30U;
constexpr int NotModified = 304;

std::string DecodeBase64(std::string text) {
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    text.erase(std::min(text.find_last_not_of('=') + 1, text.size()));
    std::string bytes = DecodeBase64Url(text);
    if (bytes.empty() && !text.empty()) {
        throw std::runtime_error("a body is declared as base64 but is not");
    }
    return bytes;
}

/// Whether a header says how its answer was sent, to whom, or from which cache.
bool IsOfTransport(const std::string& name) {
    return name.empty() || name.front() == ':' || IsAccessControl(name) ||
           IsHeader(name, {"Content-Length", "Transfer-Encoding", "Content-Encoding", "Connection",
                           "Keep-Alive", "Date", "Set-Cookie", "Content-Type", "Trailer", "Upgrade",
                           "Alt-Svc", "ETag", "Last-Modified", "Strict-Transport-Security"});
}

std::string ReadBody(const json& holder) {
    const std::string text = holder.value("text", "");
    return holder.value("encoding", "") == "base64" ? DecodeBase64(text) : text;
}

std::vector<HeaderLine> ReadHeaders(const json& message) {
    std::vector<HeaderLine> headers;
    for (const json& header : message.value("headers", json::array())) {
        const auto value = header.at("value").get<std::string>();
        if (value.find_first_of("\r\n") != std::string::npos) { continue; }
        headers.emplace_back(header.at("name").get<std::string>(), value);
    }
    return headers;
}

RecordedExchange ReadEntry(const json& entry) {
    RecordedExchange exchange;
    const json& request = entry.at("request");
    exchange.request.method = request.at("method").get<std::string>();
    exchange.request.target = TakeOriginForm(request.at("url").get<std::string>());
    exchange.request.headers = ReadHeaders(request);
    if (request.contains("postData")) { exchange.request.body = ReadBody(request["postData"]); }

    const json& response = entry.at("response");
    exchange.answer.status = response.at("status").get<int>();
    const json content = response.value("content", json::object());
    exchange.answer.body = ReadBody(content);
    exchange.answer.contentType = content.value("mimeType", "");
    for (HeaderLine& line : ReadHeaders(response)) {
        if (!IsOfTransport(line.first)) { exchange.answer.headers.push_back(std::move(line)); }
    }
    return exchange;
}

} // namespace

std::vector<RecordedExchange> ReadHar(const json& document) {
    std::vector<RecordedExchange> exchanges;
    std::size_t position = 0;
    try {
        for (const json& entry : document.at("log").at("entries")) {
            RecordedExchange exchange = ReadEntry(entry);
            ++position;
            const int status = exchange.answer.status;
            if (status >= 200 && status <= 599 && status != NotModified) {
                exchanges.push_back(std::move(exchange));
            }
        }
    } catch (const std::exception& error) {
        throw std::runtime_error("not a HAR document, entry " + std::to_string(position) + ": " +
                                 error.what());
    }
    return exchanges;
}

std::vector<RecordedExchange> ReadHarFile(const std::string& path, bool isOptional) {
    if (isOptional && !std::filesystem::exists(path)) { return {}; }
    const FileReading file = ReadRegularFile(path, MaxRecordBytes, SymbolicLinks::Follow);
    if (!file.problem.empty()) { throw std::runtime_error(path + ": " + file.problem); }
    try {
        return ReadHar(json::parse(file.bytes, nullptr, false));
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

json WriteHarEntry(const RecordedExchange& exchange, const std::string& origin,
                   std::int64_t startedAt, double durationMs) {
    const auto& [asked, answer] = exchange;
    json request = json::object({{"method", asked.method},
                                 {"url", origin + asked.target},
                                 {"headers", WriteHarHeaders(asked.headers)},
                                 {"bodySize", asked.body.size()}});
    if (!asked.body.empty()) {
        request["postData"]["mimeType"] = asked.FindHeader("Content-Type");
        WriteHarBody(asked.body, request["postData"]);
    }
    json content = json::object({{"size", answer.body.size()}, {"mimeType", answer.contentType}});
    WriteHarBody(answer.body, content);
    json response = json::object({{"status", answer.status},
                                  {"headers", WriteHarHeaders(answer.headers)},
                                  {"content", std::move(content)},
                                  {"bodySize", answer.body.size()}});
    return MakeHarEntry(std::move(request), std::move(response), startedAt, durationMs);
}

} // namespace VarnelBase::Emulation
