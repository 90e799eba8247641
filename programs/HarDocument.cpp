#include "HarDocument.h"

#include <CryptoText.h>

#include <utility>

#include "RequestTarget.h"
#include "UtcTime.h"
#include "Utf8Text.h"

namespace VarnelBase {

using nlohmann::json;

std::string BeginHar(const std::string& creator) {
    return R"({"log":{"version":"1.2","creator":{"name":")" + creator +
           R"(","version":")" VARNEL_VERSION R"("},"entries":[)";
}

json WriteHarHeaders(const std::vector<HeaderLine>& headers) {
    json lines = json::array();
    for (const auto& [name, value] : headers) {
        lines.push_back(json::object({{"name", name}, {"value", value}}));
    }
    return lines;
}

void WriteHarBody(const std::string& body, json& holder) {
    const bool isText = FindInvalidUtf8(body) == std::string::npos;
    holder["text"] = isText ? body : EncodeBase64(body);
    if (!isText) { holder["encoding"] = "base64"; }
}

json MakeHarEntry(json request, json response, std::int64_t startedAt, double durationMs) {
    json query = json::array();
    for (const auto& [name, value] : ParseQuery(request.at("url").get<std::string>())) {
        query.push_back(json::object({{"name", name}, {"value", value}}));
    }
    request["queryString"] = std::move(query);
    for (json* message : {&request, &response}) {
        message->emplace("httpVersion", "HTTP/1.1");
        message->emplace("cookies", json::array());
        message->emplace("headersSize", -1);
    }
    response.emplace("statusText", "");
    response.emplace("redirectURL", "");
    return json::object(
        {{"startedDateTime", FormatUtcTime(startedAt)},
         {"time", durationMs},
         {"request", std::move(request)},
         {"response", std::move(response)},
         {"cache", json::object()},
         {"timings", json::object({{"send", 0}, {"wait", durationMs}, {"receive", 0}})}});
}

} // namespace VarnelBase
