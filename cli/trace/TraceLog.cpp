#include "trace/TraceLog.h"

#include <HarDocument.h>
#include <UtcTime.h>
#include <Utf8Text.h>
#include <WriteJson.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "output/ExitStatus.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

/// The text of a body in an archive: nothing when it was not kept.
void AddText(json& part, const TracedBody& body) {
    if (!body.isKept) {
        part["comment"] = "the body of " + std::to_string(body.size) + " bytes was not recorded";
        return;
    }
    WriteHarBody(body.bytes, part);
}

json MakeLine(const TracedExchange& exchange, bool hasBodies) {
    json line = json::object({{"time", FormatUtcTime(exchange.startedAt)},
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
    const HttpHead& asked = exchange.request;
    const HttpHead& answered = exchange.response;
    json request = json::object({{"method", asked.method},
                                 {"url", exchange.url},
                                 {"httpVersion", asked.version},
                                 {"headers", WriteHarHeaders(asked.headers)},
                                 {"bodySize", exchange.requestBody.size}});
    json content = json::object(
        {{"size", exchange.responseBody.size}, {"mimeType", answered.Find("Content-Type")}});
    if (hasBodies) {
        AddText(content, exchange.responseBody);
        if (exchange.requestBody.size > 0) {
            request["postData"]["mimeType"] = asked.Find("Content-Type");
            AddText(request["postData"], exchange.requestBody);
        }
    }
    json response = json::object({{"status", answered.status},
                                  {"statusText", answered.reason},
                                  {"httpVersion", answered.version},
                                  {"headers", WriteHarHeaders(answered.headers)},
                                  {"content", std::move(content)},
                                  {"redirectURL", answered.Find("Location")},
                                  {"bodySize", exchange.responseBody.size}});
    // The relay does not tell sending, waiting and receiving apart.
    json entry = MakeHarEntry(std::move(request), std::move(response), exchange.startedAt,
                              exchange.milliseconds);
    entry["comment"] = exchange.problem;
    return entry;
}

/// Opens a new file for only this user; standard error if no file is named.
int OpenLog(const std::string& path, bool isReplacing) {
    if (path.empty()) { return fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0); }
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (isReplacing ? O_TRUNC : O_EXCL);
    const int opened = open(path.c_str(), flags, 0600);
    if (opened >= 0) { return opened; }
    throw CommandError(ExitStatus::Usage,
                       path + (errno == EEXIST ? ": exists (--force replaces it)"
                                               : ": " + std::generic_category().message(errno)));
}

} // namespace

TraceLog::TraceLog(TraceFormat chosen, const std::string& path, bool isReplacing, bool withBodies)
    : format(chosen),
      name(path.empty() ? "standard error" : path),
      hasBodies(withBodies),
      isFile(!path.empty()),
      output(OpenLog(path, isReplacing)) {
    if (format == TraceFormat::Har) { Write(BeginHar("varnel"), HarEnd); }
}

void TraceLog::Add(const TracedExchange& exchange) {
    if (format == TraceFormat::JsonLines) {
        Write(EscapeUnprintable(WriteJson(MakeLine(exchange, hasBodies))) + "\n", "");
        return;
    }
    const std::string entry = EscapeUnprintable(WriteJson(MakeArchiveEntry(exchange, hasBodies)));
    Write((hasEntries ? ",\n" : "\n") + entry, HarEnd);
    hasEntries = true;
}

void TraceLog::Finish() {
    if (!waiting.empty()) { WriteBytes(std::exchange(waiting, "") + HarEnd); }
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
