#include "BareClient.h"

#include <httplib.h>

#include <exception>
#include <utility>

using nlohmann::json;

namespace {

json Read(const httplib::Result& res, int status) {
    if (!res || (status != 0 && res->status != status)) { return json(); }
    try {
        return json::parse(res->body);
    } catch (const std::exception&) { return json(); }
}

} // namespace

BareClient::BareClient(std::string serviceHost, int servicePort, std::string accessToken)
    : host(std::move(serviceHost)), port(servicePort), token(std::move(accessToken)) {}

json BareClient::Get(const std::string& path, int status) const {
    httplib::Client client(host, port);
    client.set_bearer_token_auth(token);
    return Read(client.Get(path), status);
}

json BareClient::Post(const std::string& path, const json& body, int status) const {
    httplib::Client client(host, port);
    client.set_bearer_token_auth(token);
    return Read(client.Post(path, body.dump(), "application/json"), status);
}

json BareClient::Patch(const std::string& path, const json& body, int status) const {
    httplib::Client client(host, port);
    client.set_bearer_token_auth(token);
    return Read(client.Patch(path, body.dump(), "application/json"), status);
}

void BareClient::Delete(const std::string& path) const {
    httplib::Client client(host, port);
    client.set_bearer_token_auth(token);
    client.Delete(path);
}

json BareClient::PostForFile(const std::string& path, const json& body) const {
    httplib::Client client(host, port);
    client.set_bearer_token_auth(token);
    const auto res = client.Post(path, body.dump(), "application/json");
    if (!res || res->status != 200) { return json(); }
    return {{"status", "ok"},
            {"body", res->body},
            {"filename", res->get_header_value("Content-Disposition")}};
}
