// Answers every request on a free loopback port with the same bytes: peer STATUS KIND SIZE
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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

bool ReceiveRequest(int connection) {
    static char buffer[1 << 18];
    std::string head;
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

void SendAll(int connection, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) { return; }
        sent += static_cast<std::size_t>(count);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 4) { return 2; }
    const std::string body = MakeBody(argv[2], std::strtoull(argv[3], nullptr, 10));
    const std::string answer = std::string("HTTP/1.1 ") + argv[1] +
                               " Answer\r\nContent-Type: application/json\r\nContent-Disposition: "
                               "attachment; filename=\"project.zip\"\r\nContent-Length: " +
                               std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;

    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, length) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        std::perror("peer");
        return 1;
    }
    std::printf("http://127.0.0.1:%d\n", ntohs(address.sin_port));
    std::fflush(stdout);

    while (true) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0) { continue; }
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (ReceiveRequest(connection)) { SendAll(connection, answer); }
        close(connection);
    }
}
