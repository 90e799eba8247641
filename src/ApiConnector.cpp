#include "ApiConnector.h"

#include <exception>
#include <iostream>
#include <utility>

#include "HttplibDifferences.h"
#include "OfflineVersion.h"

namespace VarnelBase {

namespace {

/// The client of one request. Host, port, client, token: in this order, since each may throw.
HttpClient OpenClient(ApiConnector& connector, const EnvConfig& config) {
    const std::string host = connector.GetHostname();
    const unsigned int port = config.GetApiPort();
    HttpClient client(host, static_cast<int>(port));
    const std::string token = connector.GetApiKey();
    client.set_bearer_token_auth(token);
    return client;
}

httplib::Result PostJson(HttpClient& client, const std::string& path, const json& body) {
    const std::string text = body.dump();
    return client.Post(path, text, "application/json");
}

httplib::Result PatchJson(HttpClient& client, const std::string& path, const json& body) {
    const std::string text = body.dump();
    return client.Patch(path, text, "application/json");
}

json ParseBody(const httplib::Response& response) {
    try {
        return json::parse(response.body);
    } catch (const std::exception&) { return json(); }
}

bool HasStatus(const httplib::Result& res, int status) {
    return res && res->status == status;
}

json Exactly200(const httplib::Result& res) {
    return HasStatus(res, 200) ? ParseBody(*res) : json();
}

json Exactly201(const httplib::Result& res) {
    return HasStatus(res, 201) ? ParseBody(*res) : json();
}

json AnyResponse(const httplib::Result& res) {
    return res ? ParseBody(*res) : json();
}

void Ignored(const httplib::Result& /*res*/) {}

} // namespace

ApiConnector::ApiConnector() {
    LogOfflineState();
}

ApiConnector::ApiConnector(Environment environment) : config(environment) {
    LogOfflineState();
}

ApiConnector::~ApiConnector() = default;

std::string ApiConnector::GetHostname() {
    if (config.IsOffline()) { return ""; }

    const std::string token = auth.GetApiKey();
    if (token != lastResolvedToken) {
        hostname.clear();
        lastResolvedToken = token;
    }
    if (hostname.empty()) { ResolveHostname(); }
    return hostname;
}

unsigned int ApiConnector::GetPort() {
    return config.GetApiPort();
}

std::string ApiConnector::GetApiKey() {
    return auth.GetApiKey();
}

std::string ApiConnector::Login() {
    return auth.Login();
}

Environment ApiConnector::GetEnvironment() const {
    return config.GetEnvironment();
}

bool ApiConnector::IsOffline() const {
    return config.IsOffline();
}

json ApiConnector::GetVersion() {
    if (config.IsOffline()) { return json::array({OfflineVersion}); }

    auto client = OpenClient(*this, config);
    return Exactly200(client.Get("/version"));
}

json ApiConnector::GetAgent() {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    return AnyResponse(client.Get("/agent"));
}

json ApiConnector::SendAgentCommand(const std::string& command) {
    if (config.IsOffline()) { return json(); }

    const json body = json::object({{"command", command}});
    auto client = OpenClient(*this, config);
    return AnyResponse(PostJson(client, "/agent", body));
}

json ApiConnector::GetSimulations(const std::string& scope, int limit, int offset) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations?scope=" + scope + "&limit=" + std::to_string(limit) +
                             "&offset=" + std::to_string(offset);
    return Exactly200(client.Get(path));
}

json ApiConnector::GetSimulationData(const std::string& simulationId) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId;
    return AnyResponse(client.Get(path));
}

void ApiConnector::DeleteSimulation(const std::string& simulationId) {
    if (config.IsOffline()) { return; }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId;
    Ignored(client.Delete(path));
}

json ApiConnector::GetSimulationInputs(const std::string& simulationId) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId + "/inputs";
    return AnyResponse(client.Get(path));
}

void ApiConnector::PostSimulationInputs(const std::string& simulationId, const json& inputs) {
    if (config.IsOffline()) { return; }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId + "/inputs";
    Ignored(PostJson(client, path, inputs));
}

SimulationNamesListType ApiConnector::GetSimulationNames() {
    SimulationNamesListType names;
    const json result = GetSimulations("user", 50, 0);
    if (!result.is_object()) { return names; }
    const auto items = result.find("items");
    if (items == result.end()) { return names; }

    for (const json& item : *items) {
        if (!item.is_object()) { continue; }
        const auto id = item.find("id");
        if (id != item.end()) { names.insert(id->get<std::string>()); }
    }
    return names;
}

SimulationDataType ApiConnector::GetSimulationPreexecutionData(const std::string& simulationName) {
    return GetSimulationInputs(simulationName);
}

void ApiConnector::PutSimulationData(const std::string& simulationName,
                                     SimulationDataType& simulationData) {
    PostExecution(simulationName, simulationData);
}

json ApiConnector::GetExecutions(const std::string& simulationId, int limit, int offset) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId +
                             "/executions?limit=" + std::to_string(limit) +
                             "&offset=" + std::to_string(offset);
    return Exactly200(client.Get(path));
}

json ApiConnector::PostExecution(const std::string& simulationId, const json& data) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId + "/executions";
    const auto res = PostJson(client, path, data);
    json result = Exactly201(res);
    if (HasStatus(res, 201)) {
        const std::string uiRelativePath = "/simulations/" + simulationId;
        std::cout << "UI: https://";
        std::cout << GetHostname();
        std::cout << uiRelativePath << std::endl;
    }
    return result;
}

json ApiConnector::GetExecution(const std::string& simulationId, const std::string& executionId) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/simulations/" + simulationId + "/executions/" + executionId;
    return AnyResponse(client.Get(path));
}

json ApiConnector::GenerateProject(const json& request) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    auto res = PostJson(client, "/generateProject", request);
    if (!HasStatus(res, 200)) { return json(); }

    json envelope = json::object();
    envelope["status"] = "ok";
    envelope["body"] = std::move(res->body);
    if (const auto filename = FindFirstHeader(res->headers, "Content-Disposition")) {
        envelope["filename"] = filename->c_str(); // ends at the first NUL byte
    }
    return envelope;
}

json ApiConnector::GetUsers(int limit, int offset) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path =
        "/users?limit=" + std::to_string(limit) + "&offset=" + std::to_string(offset);
    return Exactly200(client.Get(path));
}

json ApiConnector::CreateUser(const std::string& email, const std::string& role) {
    if (config.IsOffline()) { return json(); }

    const json body = json::object({{"email", email}, {"role", role}});
    auto client = OpenClient(*this, config);
    return Exactly201(PostJson(client, "/users", body));
}

json ApiConnector::GetUser(const std::string& userId) {
    if (config.IsOffline()) { return json(); }

    auto client = OpenClient(*this, config);
    const std::string path = "/users/" + userId;
    return AnyResponse(client.Get(path));
}

json ApiConnector::UpdateUser(const std::string& userId, const std::string& role) {
    if (config.IsOffline()) { return json(); }

    const json body = json::object({{"role", role}});
    auto client = OpenClient(*this, config);
    const std::string path = "/users/" + userId;
    return Exactly200(PatchJson(client, path, body));
}

void ApiConnector::DeleteUser(const std::string& userId) {
    if (config.IsOffline()) { return; }

    auto client = OpenClient(*this, config);
    const std::string path = "/users/" + userId;
    Ignored(client.Delete(path));
}

void ApiConnector::ResolveHostname() {
    if (config.GetEnvironment() == Environment::Local) {
        hostname = config.GetApiHost();
        return;
    }
    const std::string group = auth.GetFirstGroup(lastResolvedToken);
    hostname = group.empty() ? config.GetApiHost() : group + "." + config.GetApiHost();
}

void ApiConnector::LogOfflineState() {
    if (!config.IsOffline()) { return; }
    std::cout << "[api] offline mode enabled — no backend connections will be made" << std::endl;
}

} // namespace VarnelBase
