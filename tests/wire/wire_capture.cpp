// Prints the bytes of every operation's request, and what the connector makes of answers that HTTP
// libraries read differently: a title each, and indented what belongs to it. What changes from run
// to run or names the release is replaced.

#include <cstdlib>
#include <iostream>
#include <regex>

#include "../support/OpenFiles.h"
#include "../support/Operations.h"
#include "../support/ScriptedServer.h"

using VarnelBase::ApiConnector;
using VarnelBase::json;

namespace {

/// The bytes as a JSON string, in which "..." stands for what every header with a token has.
std::string Describe(const std::string& bytes) {
    std::string text = std::regex_replace(bytes, std::regex("(Host: 127.0.0.1:)[0-9]+"), "$1PORT");
    text = std::regex_replace(text, std::regex("(cpp-httplib/)[0-9.]+"), "$1RELEASE");
    const std::regex usual(
        "Accept: \\*/\\*\r\nAuthorization: Bearer t0ken\r\nConnection: close\r\n"
        "(Content-Length: [0-9]+\r\nContent-Type: application/json\r\n)?"
        "Host: 127.0.0.1:PORT\r\nUser-Agent: cpp-httplib/RELEASE\r\n");
    return json(std::regex_replace(text, usual, "...\r\n$1")).dump(-1, ' ', true);
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
    const auto show = [&](const json& result) {
        const Log requests = server.TakeRequests();
        const std::string sent = requests.empty() ? "not sent" : Describe(requests.front());
        std::cout << "    " << sent << "\n  " << result.dump() << "\n";
    };

    for (const VarnelBase::Operation& operation : VarnelBase::AllOperations) {
        std::cout << operation.request << "\n";
        show(operation.call(connector));
    }
    std::cout << "a body of 2 MiB\n";
    connector.PostSimulationInputs("s1", std::string(1 << 21, 'x'));
    const std::string request = server.TakeRequests().at(0);
    const std::size_t headEnd = request.find("\r\n\r\n") + 4;
    std::cout << "    " << Describe(request.substr(0, headEnd)) << "\n  "
              << request.size() - headEnd << " bytes\n";

    std::string controls;
    std::string others;
    for (int byte = 0xff; byte > 0; --byte) {
        (byte < ' ' || byte == 0x7f ? controls : others) += static_cast<char>(byte);
    }
    others.erase(others.find('?'), 1);
    const std::pair<const char*, std::string> identifiers[] = {
        {"control characters in a target", controls},
        {"other bytes in a path", others},
        {"a query behind a path", "a?b=%41+c d&&b&=%zz?"},
        {"a target that ends at its NUL byte", std::string("u1\0u2", 5)},
        {"a target that ends in a question mark", "u1?"},
    };
    for (const auto& [title, identifier] : identifiers) {
        std::cout << title << "\n";
        show(connector.GetSimulationData(identifier));
    }
    std::cout << "other bytes in a query\n";
    show(connector.GetSimulations(others, 1, 2));

    std::string manyLines = ok;
    for (int line = 0; line < 300; ++line) { manyLines += "X-" + std::to_string(line) + ": 1\r\n"; }
    const std::vector<std::pair<const char*, std::string>> answers{
        {"a body that ends with the connection", ok + "\r\n[1]"},
        {"a chunked body", ok + "Transfer-Encoding: chunked\r\n\r\n3\r\n[1]\r\n0\r\n\r\n"},
        {"trailers", ok + "Transfer-Encoding: chunked\r\n\r\n3\r\n[1]\r\n0\r\nX-Sum: 1\r\n\r\n"},
        {"a header without a value", ok + "X-Empty:\r\nContent-Length: 3\r\n\r\n[1]"},
        {"300 header lines", manyLines + "Content-Length: 3\r\n\r\n[1]"},
        {"a header line without a colon", ok + "Wrong\r\nContent-Length: 3\r\n\r\n[1]"},
        {"a header with a control character", ok + "X: \x01\r\nContent-Length: 3\r\n\r\n[1]"},
        {"lengths that differ", ok + "Content-Length: 3\r\nContent-Length: 4\r\n\r\n[1]"},
        {"a redirect", "HTTP/1.1 302 Found\r\nLocation: /x\r\nContent-Length: 3\r\n\r\n[1]"},
        {"an interim answer", "HTTP/1.1 100 Continue\r\n\r\n" + ok + "Content-Length: 2\r\n\r\n[]"},
    };
    for (const auto& [title, bytes] : answers) {
        server.Answer(bytes);
        std::cout << title << "\n  " << connector.GetAgent().dump() << "\n";
    }
    for (const std::string value : {"a; filename=\"b.zip\"", "", "a%zz%u00e9%41%2", "%41%00b",
                                    "a\r\nContent-Disposition: b\r\nContent-Disposition: c"}) {
        server.Answer(ok + "Content-Length: 1\r\nContent-Disposition: " + value + "\r\n\r\nz");
        std::cout << "file name " << json(value) << "\n  "
                  << connector.GenerateProject(json::object()).dump() << "\n";
    }
    std::cout << "a project of 101 MiB\n";
    const std::size_t size = 101 << 20;
    server.Answer(ok + "Content-Length: " + std::to_string(size) + "\r\n\r\n" +
                  std::string(size, 'x'));
    const json project = connector.GenerateProject(json::object());
    std::cout << "  "
              << (project.is_null() ? 0 : project["body"].get_ref<const std::string&>().size())
              << " bytes\n";

    std::cout << "2,000 open files\n";
    const bool isOpen = OpenFiles(2000);
    server.Answer(ok + "Content-Length: 3\r\n\r\n[1]");
    std::cout << "  " << isOpen << " " << connector.GetVersion().dump() << "\n";

    setenv("VARNEL_TOKEN", "", 1);
    server.TakeRequests();
    std::cout << "no token\n";
    show(ApiConnector().UpdateUser("u1", "reader"));
}
