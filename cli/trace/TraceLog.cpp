#include "trace/TraceLog.h"

#include <CryptoText.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "output/ExitStatus.h"
#include "output/UtcTime.h"
#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

/// Text of headers need not be UTF-8.
std::string Dump(const json& document) {
    return document.dump(-1, ' ', false, json::error_handler_t::replace);
}

json DescribeHeaders(const HttpHead& head) {
    json headers = json::array();
    for (const auto& [name, value] : head.headers) {
        headers.push_back(json::object({{"name", name}, {"value", value}}));
    }
    return headers;
}

/// The parameters behind "?" in an address.
json DescribeQuery(const std::string& target) {
    json query = json::array();
    for (std::size_t begin = target.find('?'); begin != std::string::npos;) {
        const std::size_t end = target.find('&', ++begin);
        const std::string part = target.substr(begin, end - begin);
        const std::size_t equals = part.find('=');
        query.push_back(
            json::object({{"name", part.substr(0, equals)},
                          {"value", equals == std::string::npos ? "" : part.substr(equals + 1)}}));
        begin = end;
    }
    return query;
}

bool IsText(const std::string& bytes) {
    return FindInvalidUtf8(bytes) == std::string::npos;
}

/// The text of a body in an archive: nothing when it was not kept.
void AddText(json& part, const TracedBody& body) {
    if (!body.isKept) {
        part["comment"] = "the body of " + std::to_string(body.size) + " bytes was not recorded";
        return;
    }
    part["text"] = IsText(body.bytes) ? body.bytes : EncodeBase64(body.bytes);
    if (!IsText(body.bytes)) { part["encoding"] = "base64"; }
}

json MakeLine(const TracedExchange& exchange, bool hasBodies) {
    json line = json::object({{"time", FormatUtcTime(exchange.startSeconds)},
                              {"environment", exchange.environment},
                              {"method", exchange.request.method},
                              {"url", exchange.url},
                              {"authorization", exchange.request.Find("Authorization")},
                              {"status", exchange.response.status},
                              {"milliseconds", exchange.milliseconds},
                              {"requestBytes", exchange.requestBody.size},
                              {"responseBytes", exchange.responseBody.size}});
    if (hasBodies) {
        AddText(line["requestBody"], exchange.requestBody);
        AddText(line["responseBody"], exchange.responseBody);
    }
    if (!exchange.problem.empty()) { line["problem"] = exchange.problem; }
    return line;
}

json MakeArchiveEntry(const TracedExchange& exchange, bool hasBodies) {
    const HttpHead& request = exchange.request;
    const HttpHead& response = exchange.response;
    json entry = json::object({{"startedDateTime", FormatUtcTime(exchange.startSeconds)},
                               {"time", exchange.milliseconds},
                               {"cache", json::object()},
                               {"comment", exchange.problem}});
    entry["request"] = json::object({{"method", request.method},
                                     {"url", exchange.url},
                                     {"httpVersion", request.version},
                                     {"cookies", json::array()},
                                     {"headers", DescribeHeaders(request)},
                                     {"queryString", DescribeQuery(request.target)},
                                     {"headersSize", -1},
                                     {"bodySize", exchange.requestBody.size}});
    entry["response"] =
        json::object({{"status", response.status},
                      {"statusText", response.reason},
                      {"httpVersion", response.version},
                      {"cookies", json::array()},
                      {"headers", DescribeHeaders(response)},
                      {"content", json::object({{"size", exchange.responseBody.size},
                                                {"mimeType", response.Find("Content-Type")}})},
                      {"redirectURL", response.Find("Location")},
                      {"headersSize", -1},
                      {"bodySize", exchange.responseBody.size}});
    if (hasBodies) {
        AddText(entry["response"]["content"], exchange.responseBody);
        if (exchange.requestBody.size > 0) {
            json& data = entry["request"]["postData"];
            data["mimeType"] = request.Find("Content-Type");
            AddText(data, exchange.requestBody);
        }
    }
    // The relay does not tell these apart.
    entry["timings"] = json::object({{"send", 0}, {"wait", exchange.milliseconds}, {"receive", 0}});
    return entry;
}

/// Opens a new file for this user alone; standard error where no file is named.
int OpenLog(const std::string& path, bool isReplacing) {
    if (path.empty()) { return fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0); }
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (isReplacing ? O_TRUNC : O_EXCL);
    const int opened = open(path.c_str(), flags, 0600);
    if (opened >= 0) { return opened; }
    throw CommandError(ExitStatus::Usage,
                       path + (errno == EEXIST ? ": exists (--force replaces it)"
                                               : ": " + std::generic_category().message(errno)));
}

std::string BeginArchive() {
    const json creator = json::object({{"name", "varnel"}, {"version", VARNEL_VERSION}});
    return R"({"log":{"version":"1.2","creator":)" + creator.dump() + ",\"entries\":[\n";
}

constexpr const char* ArchiveEnd = "\n]}}\n";

} // namespace

TraceLog::TraceLog(TraceFormat chosen, const std::string& path, bool isReplacing, bool withBodies)
    : format(chosen),
      name(path.empty() ? "standard error" : path),
      hasBodies(withBodies),
      isFile(!path.empty()),
      output(OpenLog(path, isReplacing)) {
    if (format == TraceFormat::Har) { Write(BeginArchive(), ArchiveEnd); }
}

void TraceLog::Add(const TracedExchange& exchange) {
    if (format == TraceFormat::JsonLines) {
        Write(Dump(MakeLine(exchange, hasBodies)) + "\n", "");
        return;
    }
    const std::string entry = Dump(MakeArchiveEntry(exchange, hasBodies));
    Write((hasEntries ? ",\n" : "") + entry, ArchiveEnd);
    hasEntries = true;
}

void TraceLog::Finish() {
    if (!waiting.empty()) { WriteBytes(std::exchange(waiting, "") + ArchiveEnd); }
    if (error != 0) {
        throw CommandError(ExitStatus::Refused, name + ": not everything could be written: " +
                                                    std::generic_category().message(error));
    }
}

void TraceLog::Write(const std::string& text, const std::string& end) {
    // Between what the program itself writes, the parts of an archive would be lost.
    if (!isFile && !end.empty()) {
        waiting += text;
        return;
    }
    WriteBytes(text + end);
    // What follows takes the place of the end.
    if (isFile && error == 0) { lseek(output.Get(), -static_cast<off_t>(end.size()), SEEK_CUR); }
}

void TraceLog::WriteBytes(const std::string& bytes) {
    if (error == 0 && !WriteAll(output.Get(), bytes.data(), bytes.size())) { error = errno; }
}

} // namespace VarnelBase
