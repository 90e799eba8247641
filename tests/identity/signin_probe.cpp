// A host program for the sign-in tests: runs the operations that its arguments name, in order, on
// one handler and one connector, and writes a line of JSON for each to descriptor 3, so that
// standard output and error are the library's alone. "pause" waits for a line on standard input.
// A line has "unstored" when the tokens of its operation could not be stored.
// "open ADDRESS" plays the browser instead and hands the address to the test.

#include <unistd.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "ApiConnector.h"
#include "LoginGuide.h"
#include "OpenFiles.h"

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
    const json body =
        json::object({{"address", address}, {"descriptors", CountEntries("/proc/self/fd")}});
    httplib::Client client("127.0.0.1", std::atoi(std::getenv("TEST_BROWSER")));
    return client.Post("/", body.dump(), "application/json") ? 0 : 1;
}

void RunOperations(const std::vector<std::string>& names) {
    VarnelBase::AuthHandler handler;
    VarnelBase::ApiConnector connector;
    const std::map<std::string, std::function<json()>> operations{
        {"key", [&] { return json(handler.GetApiKey()); }},
        {"login", [&] { return json(handler.Login()); }},
        {"relogin", [&] { return handler.Relogin(), json(handler.GetApiKey()); }},
        {"group", [&] { return json(handler.GetFirstGroup(handler.GetApiKey())); }},
        {"can", [] { return json(VarnelBase::AuthHandler::CanLoginNonInteractively()); }},
        {"api-login", [&] { return json(connector.Login()); }},
        {"api-host", [&] { return json(connector.GetHostname()); }},
        {"api-version", [&] { return connector.GetVersion(); }},
        {"as-bob", [] { return json(setenv("VARNEL_USERNAME", "bob", 1)); }},
        {"open-files", [] { return json(OpenFiles(2000)); }},
        {"pause",
         [] {
             return Report(json::object({{"paused", true}})), json(std::cin.get());
         }},
    };
    json line;
    VarnelBase::LoginGuide guide;
    guide.tellUnstored = [&line](const std::string& reason) { line["unstored"] = reason; };
    const VarnelBase::GuidedLogin guided(guide);
    for (const std::string& name : names) {
        line = json::object({{"operation", name}});
        try {
            line["result"] = operations.at(name)();
        } catch (const std::exception& error) { line["error"] = error.what(); }
        line["threads"] = CountEntries("/proc/self/task");
        line["descriptors"] = CountEntries("/proc/self/fd");
        Report(line);
    }
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> names(arguments + 1, arguments + count);
    if (names.size() == 2 && names.front() == "open") { return OpenPage(names.back()); }
    RunOperations(names);
    return 0;
}
