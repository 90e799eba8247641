#include "trace/TraceLog.h"

#include <iostream>
#include <utility>

#include "output/ExitStatus.h"
#include "output/UtcTime.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

/// Text of headers need not be UTF-8.
std::string Dump(const json& document, int indent) {
    return document.dump(indent, ' ', false, json::error_handler_t::replace);
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

json MakeLine(const TracedExchange& exchange) {
    json line = json::object({{"time", FormatUtcTime(exchange.startSeconds)},
                              {"environment", exchange.environment},
                              {"method", exchange.request.method},
                              {"url", exchange.url},
                              {"authorization", exchange.request.Find("Authorization")},
                              {"status", exchange.response.status},
                              {"milliseconds", exchange.milliseconds},
                              {"requestBytes", exchange.requestBodyBytes},
                              {"responseBytes", exchange.responseBodyBytes}});
    if (!exchange.problem.empty()) { line["problem"] = exchange.problem; }
    return line;
}

json MakeArchiveEntry(const TracedExchange& exchange) {
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
                                     {"headersSize", request.size},
                                     {"bodySize", exchange.requestBodyBytes}});
    entry["response"] =
        json::object({{"status", response.status},
                      {"statusText", response.reason},
                      {"httpVersion", response.version},
                      {"cookies", json::array()},
                      {"headers", DescribeHeaders(response)},
                      {"content", json::object({{"size", exchange.responseBodyBytes},
                                                {"mimeType", response.Find("Content-Type")}})},
                      {"redirectURL", response.Find("Location")},
                      {"headersSize", response.size},
                      {"bodySize", exchange.responseBodyBytes}});
    // The relay does not tell these apart.
    entry["timings"] = json::object({{"send", 0}, {"wait", exchange.milliseconds}, {"receive", 0}});
    return entry;
}

} // namespace

TraceLog::TraceLog(TraceFormat chosen, std::string destination)
    : format(chosen), path(std::move(destination)), output(path.empty() ? std::cerr : file) {
    if (path.empty()) { return; }
    file.open(path, std::ios::binary | std::ios::trunc);
    if (!file) { throw CommandError(ExitStatus::Usage, path + ": cannot be written"); }
}

void TraceLog::Add(const TracedExchange& exchange) {
    if (format == TraceFormat::Har) {
        entries.push_back(MakeArchiveEntry(exchange));
    } else {
        output << Dump(MakeLine(exchange), -1) << std::endl;
    }
}

void TraceLog::Finish() {
    if (format == TraceFormat::Har) {
        const json creator = json::object({{"name", "varnel"}, {"version", VARNEL_VERSION}});
        output << Dump(json::object({{"log", json::object({{"version", "1.2"},
                                                           {"creator", creator},
                                                           {"entries", entries}})}}),
                       2)
               << std::endl;
    }
    if (!output) {
        throw CommandError(ExitStatus::Refused, path + ": not everything could be written");
    }
}

} // namespace VarnelBase
