// A host program for the sign-in tests: runs the operations that its arguments name, in order, on
// one handler and one connector, and writes one line of JSON for each to descriptor 3, so that
// standard output and standard error are the library's alone.
//
//     signin_probe login key group       "pause" waits for a line on standard input
//     signin_probe open ADDRESS          plays the browser: hands the address to $TEST_BROWSER

#include <unistd.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <string>

#include "ApiConnector.h"

namespace {

using VarnelBase::json;

auto CountEntries(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

void Report(const json& line) {
    const std::string text = line.dump() + "\n";
    if (write(3, text.data(), text.size()) < 0) { std::exit(3); }
}

int OpenPage(const std::string& address) {
    const char* test = std::getenv("TEST_BROWSER");
    json environment = json::array();
    for (const char* secret : {"VARNEL_TOKEN", "VARNEL_PASSWORD", "VARNEL_CLIENT_SECRET"}) {
        if (std::getenv(secret) != nullptr) { environment.push_back(secret); }
    }
    const json body = json::object({{"address", address},
                                    {"secrets", environment},
                                    {"descriptors", CountEntries("/proc/self/fd")}});
    httplib::Client client("127.0.0.1", test == nullptr ? 0 : std::atoi(test));
    return client.Post("/", body.dump(), "application/json") ? 0 : 1;
}

int RunOperations(const std::vector<std::string>& names) {
    std::optional<VarnelBase::AuthHandler> handler;
    std::optional<VarnelBase::ApiConnector> connector;
    const auto auth = [&]() -> auto& {
        return handler ? *handler : handler.emplace();
    };
    const auto api = [&]() -> auto& {
        return connector ? *connector : connector.emplace();
    };
    const std::map<std::string, std::function<json()>> operations{
        {"key", [&] { return json(auth().GetApiKey()); }},
        {"login", [&] { return json(auth().Login()); }},
        {"relogin", [&] { return auth().Relogin(), json(auth().GetApiKey()); }},
        {"group", [&] { return json(auth().GetFirstGroup(auth().GetApiKey())); }},
        {"can", [] { return json(VarnelBase::AuthHandler::CanLoginNonInteractively()); }},
        {"api-login", [&] { return json(api().Login()); }},
        {"api-host", [&] { return json(api().GetHostname()); }},
        {"api-version", [&] { return api().GetVersion(); }},
        {"as-bob", [] { return json(setenv("VARNEL_USERNAME", "bob", 1)); }},
        {"pause",
         [] {
             std::string line;
             Report({{"paused", true}});
             return json(static_cast<bool>(std::getline(std::cin, line)));
         }},
    };
    for (const std::string& name : names) {
        json line = json::object({{"operation", name}});
        try {
            line["result"] = operations.at(name)();
        } catch (const std::exception& error) { line["error"] = error.what(); }
        line["threads"] = CountEntries("/proc/self/task");
        line["descriptors"] = CountEntries("/proc/self/fd");
        Report(line);
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> names(arguments + 1, arguments + count);
    if (names.size() == 2 && names.front() == "open") { return OpenPage(names.back()); }
    return RunOperations(names);
}
