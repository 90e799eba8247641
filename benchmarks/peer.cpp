// Answers every request on a free port with the same bytes: peer STATUS KIND SIZE [ADDRESS]
//
// A kind that begins with "kept-" keeps connections, any number of them at the same time.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

std::string MakeList(std::size_t count) {
    std::string text = R"({"items":[)";
    for (std::size_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + std::string(R"({"id":"simulation-)") + std::to_string(i) +
                R"(","name":"Bridge under wind load","createdAt":"2026-01-01T00:00:00Z",)" +
                R"("state":"finished","progress":1.0})";
    }
    return text + R"(],"total":)" + std::to_string(count) + "}";
}

std::string MakeBody(const std::string& kind, std::size_t size) {
    if (kind == "version") { return R"({"version":"1.2.3"})"; }
    if (kind == "bytes") { return std::string(size, '\x7f'); }
    constexpr std::size_t ListItems = 50;
    constexpr std::size_t ItemBytes = 118;
    return MakeList(kind == "list" ? ListItems : size / ItemBytes);
}

/// A page of a list with as many entries as are there.
std::string MakePage(const std::string& request, std::size_t total) {
    const auto read = [&request](const char* name) {
        const std::size_t place = request.find(name);
        return place == std::string::npos
                   ? 0
                   : std::strtoull(&request[place + std::strlen(name)], nullptr, 10);
    };
    const std::size_t begin = read("offset=");
    const std::size_t end = std::min<std::size_t>(begin + read("limit="), total);
    std::string text = R"({"items":[)";
    for (std::size_t i = begin; i < end; ++i) {
        text += (i == begin ? "" : ",") + std::string(R"({"id":"simulation-)") + std::to_string(i) +
                R"(","name":"Bridge under wind load","state":"finished","progress":1.0})";
    }
    return text + R"(],"total":)" + std::to_string(total) + "}";
}

bool ReceiveRequest(int connection, std::string& head) {
    thread_local char buffer[1 << 18];
    head.clear();
    std::size_t end = std::string::npos;
    while (end == std::string::npos) {
        const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
        if (count <= 0) { return false; }
        head.append(buffer, static_cast<std::size_t>(count));
        end = head.find("\r\n\r\n");
    }
    const std::size_t header = head.find("Content-Length: ");
    std::size_t missing = header < end ? std::strtoull(head.c_str() + header + 16, nullptr, 10) : 0;
    std::size_t received = head.size() - end - 4;
    while (received < missing) {
        const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
        if (count <= 0) { return false; }
        received += static_cast<std::size_t>(count);
    }
    return true;
}

bool SendAll(int connection, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) { return false; }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

std::string MakeHead(const std::string& status, std::size_t size, bool isKept) {
    return "HTTP/1.1 " + status +
           " Answer\r\nContent-Type: application/json\r\nContent-Disposition: "
           "attachment; filename=\"project.zip\"\r\nContent-Length: " +
           std::to_string(size) + (isKept ? "\r\n\r\n" : "\r\nConnection: close\r\n\r\n");
}

/// Answers request after request on one connection.
void ServeKept(int connection, const std::string& status, const std::string& kind,
               std::size_t size) {
    const std::string body = MakeBody("version", 0);
    const std::string answer = MakeHead(status, body.size(), true) + body;
    const std::string block(1 << 16, '\x7f');
    std::string request;
    while (ReceiveRequest(connection, request)) {
        bool isSent = true;
        if (kind == "kept-pages") {
            const std::string page = MakePage(request, size);
            isSent = SendAll(connection, MakeHead(status, page.size(), true) + page);
        } else if (kind == "kept-stream" && request.rfind("POST ", 0) == 0) {
            isSent = SendAll(connection, MakeHead(status, size, true));
            for (std::size_t sent = 0; isSent && sent < size; sent += block.size()) {
                isSent = SendAll(connection, block);
            }
        } else {
            isSent = SendAll(connection, answer);
        }
        if (!isSent) { break; }
    }
    close(connection);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 4 && argc != 5) { return 2; }
    const char* const text = argc == 5 ? argv[4] : "127.0.0.1";
    const std::string kind = argv[2];
    const std::size_t size = std::strtoull(argv[3], nullptr, 10);
    const bool isKept = kind.rfind("kept-", 0) == 0;
    const std::string body = isKept ? "" : MakeBody(kind, size);
    const std::string answer = MakeHead(argv[1], body.size(), false) + body;
    std::string request;

    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (inet_pton(AF_INET, text, &address.sin_addr) != 1 || bind(listener, generic, length) != 0 ||
        listen(listener, SOMAXCONN) != 0 || getsockname(listener, generic, &length) != 0) {
        std::perror("peer");
        return 1;
    }
    std::printf("http://%s:%d\n", text, ntohs(address.sin_port));
    std::fflush(stdout);

    while (true) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0) { continue; }
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (isKept) {
            std::thread(ServeKept, connection, std::string(argv[1]), kind, size).detach();
            continue;
        }
        if (ReceiveRequest(connection, request)) { SendAll(connection, answer); }
        close(connection);
    }
}
