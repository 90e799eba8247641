#include "session/Diagnosis.h"

#include <httplib.h>

#include <utility>

#include "network/TcpConnection.h"
#include "output/ExitStatus.h"
#include "output/Table.h"
#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

constexpr std::size_t ExcerptColumns = 200;

/// Ends the command unless the status is a good one.
void RequireGoodStatus(const std::string& target, const Answer& answer) {
    const std::string text = "GET " + target + " was answered " + std::to_string(answer.status);
    const std::string reason = answer.body.empty() ? "" : ": " + DescribeErrorBody(answer.body);
    if (answer.status == 0) {
        throw CommandError(ExitStatus::Unreachable,
                           "GET " + target + " was not answered: " + answer.problem);
    }
    if (answer.status == 401) {
        throw CommandError(ExitStatus::LoginNeeded, text + reason + " (" + AdviseSignIn() + ")");
    }
    if (answer.status < 200 || answer.status > 299) {
        throw CommandError(ExitStatus::Refused, text + reason);
    }
}

} // namespace

Answer Ask(ApiConnector& connector, const std::string& target) {
    httplib::Client client(connector.GetHostname(), static_cast<int>(connector.GetPort()));
    client.set_connection_timeout(DiagnosisPatience);
    client.set_read_timeout(DiagnosisPatience);
    client.set_bearer_token_auth(connector.GetApiKey());
    const httplib::Result result = client.Get(target);
    if (!result) {
        return {0, "the connection failed (" + httplib::to_string(result.error()) + ")", "", ""};
    }
    return {result->status, "", result->body, result->get_header_value("Date")};
}

void RequireReachable(ApiConnector& connector) {
    const TcpConnection connection =
        ConnectTo(connector.GetHostname(), connector.GetPort(), DiagnosisPatience);
    if (!connection.socket.IsOpen()) {
        throw CommandError(ExitStatus::Unreachable, connection.problem);
    }
}

json RequireAnswer(Session& session, const std::string& target, json document) {
    const bool isSuspicious = !document.is_null() && LooksLikeError(document);
    if (!document.is_null() && !isSuspicious) { return document; }

    ApiConnector& connector = session.Connect();
    if (!isSuspicious) { RequireReachable(connector); }
    const Answer answer = Ask(connector, target);
    session.Note("asked twice: GET " + target + " was repeated to learn what the service says");
    RequireGoodStatus(target, answer);
    if (isSuspicious) { return document; }

    json second = json::parse(answer.body, nullptr, false);
    if (answer.status != 200 || second.is_discarded()) {
        throw CommandError(ExitStatus::Refused,
                           "GET " + target + " was answered " + std::to_string(answer.status) +
                               (second.is_discarded() ? ", but not with JSON: "
                                                      : ", which the library does not take: ") +
                               DescribeErrorBody(answer.body));
    }
    session.Note(second.is_null() ? "the service answered 200 with the JSON value null"
                                  : "the first answer could not be used, this is the second one");
    return second;
}

bool LooksLikeError(const json& document) {
    // What has an identifier is a thing of the service's own: an execution, say, that has failed.
    if (!document.is_object() || document.contains("id")) { return false; }
    const auto error = document.find("error");
    if (error != document.end()) { return !error->is_null(); }
    return document.contains("errors") || document.contains("message") ||
           document.contains("detail");
}

std::string DescribeErrorBody(const std::string& body) {
    const json document = json::parse(body, nullptr, false);
    if (document.is_object()) {
        const auto error = document.find("error");
        const json& details = error != document.end() ? *error : document;
        if (details.is_string()) { return MakePrintable(details.get<std::string>()); }
        for (const char* name : {"message", "detail", "title"}) {
            if (details.is_object() && details.contains(name) && details.at(name).is_string()) {
                return DescribeValue(details.at(name));
            }
        }
    }
    return CutToWidth(MakePrintable(body), ExcerptColumns);
}

} // namespace VarnelBase
