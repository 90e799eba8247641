// Prints the bytes of every operation's request, and what the connector makes of answers that HTTP
// libraries read differently. What changes from run to run or names the release is replaced.

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <regex>

#include "../connector/Operations.h"
#include "../connector/ScriptedServer.h"

using VarnelBase::ApiConnector;
using VarnelBase::json;

namespace {

/// The bytes as a JSON string that is broken after each CR LF but the last.
std::string Describe(const std::string& bytes) {
    std::string text = json(bytes).dump(-1, ' ', true);
    text = std::regex_replace(text, std::regex(R"(\\r\\n(?!"$))"), "$&\n    ");
    text = std::regex_replace(text, std::regex("Host: 127.0.0.1:[0-9]+"), "Host: HOST");
    return std::regex_replace(text, std::regex("cpp-httplib/[0-9.]+"), "cpp-httplib/RELEASE");
}

/// The same request with its header lines in the order of their names.
std::string SortHeaders(const std::string& request) {
    const std::regex line("[^\r]*\r\n");
    const std::size_t headEnd = request.find("\r\n\r\n") + 2;
    const std::string head = request.substr(0, headEnd);
    std::vector<std::string> lines(std::sregex_token_iterator(head.begin(), head.end(), line), {});
    std::sort(lines.begin() + 1, lines.end());
    return std::accumulate(lines.begin(), lines.end(), std::string()) + request.substr(headEnd);
}

} // namespace

int main() {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    ScriptedServer server;
    server.Answer(ok + "Content-Length: 2\r\n\r\n[]");
    setenv("VARNEL_ENVIRONMENT", "local", 1);
    setenv("VARNEL_API_PORT", std::to_string(server.port).c_str(), 1);
    setenv("VARNEL_TOKEN", "t0ken", 1);
    ApiConnector connector;
    std::string request;
    const auto show = [&](const json& result) {
        request = server.TakeRequests().at(0);
        std::cout << "    " << Describe(SortHeaders(request)) << "\n  " << result.dump() << "\n";
    };

    for (const VarnelBase::Operation& operation : VarnelBase::AllOperations) {
        show(operation.call(connector));
    }
    std::cout << "header lines in their order\n    " << Describe(request) << "\n";
    std::string everyByte;
    for (int byte = 0xff; byte >= 0; --byte) { everyByte += static_cast<char>(byte); }
    std::cout << "every byte in a target\n";
    show(connector.GetSimulationData(everyByte));

    const std::vector<std::pair<const char*, std::string>> answers{
        {"a body that ends with the connection", ok + "\r\n[1]"},
        {"a chunked body", ok + "Transfer-Encoding: chunked\r\n\r\n3\r\n[1]\r\n0\r\n\r\n"},
        {"a header without a value", ok + "X-Empty:\r\nContent-Length: 3\r\n\r\n[1]"},
        {"a redirect", "HTTP/1.1 302 Found\r\nLocation: /x\r\nContent-Length: 3\r\n\r\n[1]"},
        {"an interim answer", "HTTP/1.1 100 Continue\r\n\r\n" + ok + "Content-Length: 2\r\n\r\n[]"},
    };
    for (const auto& [title, bytes] : answers) {
        server.Answer(bytes);
        std::cout << title << "\n  " << connector.GetAgent().dump() << "\n";
    }
    for (const std::string value :
         {"a; filename=\"b.zip\"", "", "%41%00b", "a\r\nContent-Disposition: b"}) {
        server.Answer(ok + "Content-Length: 1\r\nContent-Disposition: " + value + "\r\n\r\nz");
        std::cout << "file name " << json(value) << "\n  "
                  << connector.GenerateProject(json::object()).dump() << "\n";
    }
    setenv("VARNEL_TOKEN", "", 1);
    server.TakeRequests();
    std::cout << "no token\n";
    show(ApiConnector().UpdateUser("u1", "reader"));
}
