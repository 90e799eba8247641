#include "ScriptedServer.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace {

/// Whether the head has come, and as much of a body as it announces.
bool IsWhole(const std::string& request) {
    const std::size_t headEnd = request.find("\r\n\r\n");
    if (headEnd == std::string::npos) { return false; }
    const std::string name = "\r\nContent-Length: ";
    const std::size_t announced = request.find(name);
    const std::size_t length =
        announced < headEnd ? std::stoul(request.substr(announced + name.size())) : 0;
    return request.size() >= headEnd + 4 + length;
}

/// Appends what comes next; false at the end of the connection or when nothing comes for long.
bool Receive(int connection, std::string& bytes) {
    std::array<char, 65536> chunk{};
    const ssize_t count = recv(connection, chunk.data(), chunk.size(), 0);
    if (count < 0) { bytes += "(left open)"; }
    if (count > 0) { bytes.append(chunk.data(), static_cast<std::size_t>(count)); }
    return count > 0;
}

void Send(int connection, const std::string& bytes, std::size_t bytesAtOnce) {
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    for (std::size_t sent = 0; sent < bytes.size(); sent += bytesAtOnce) {
        const std::size_t count = std::min(bytesAtOnce, bytes.size() - sent);
        if (send(connection, bytes.data() + sent, count, MSG_NOSIGNAL) < 0) { return; }
    }
}

} // namespace

ScriptedServer::ScriptedServer(std::function<void()> onRequest)
    : notify(std::move(onRequest)), listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, size) != 0 || listen(listener, 16) != 0 ||
        getsockname(listener, generic, &size) != 0) {
        throw std::runtime_error("no loopback port");
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this] { Serve(); });
}

ScriptedServer::~ScriptedServer() {
    shutdown(listener, SHUT_RDWR);
    thread.join();
    close(listener);
}

void ScriptedServer::Answer(const std::string& bytes, Manner manner) {
    const std::lock_guard<std::mutex> lock(mutex);
    answer = bytes;
    answerManner = manner;
}

std::vector<std::string> ScriptedServer::TakeConnections() {
    std::unique_lock<std::mutex> lock(mutex);
    allClosed.wait(lock, [this] { return !isBusy; });
    return std::exchange(connections, {});
}

void ScriptedServer::Serve() {
    for (int connection = 0; (connection = accept(listener, nullptr, nullptr)) >= 0;) {
        Converse(connection);
        close(connection);
        const std::lock_guard<std::mutex> lock(mutex);
        isBusy = false;
        allClosed.notify_all();
    }
}

void ScriptedServer::Converse(int connection) {
    const timeval patience{5, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    std::string received;
    std::string toSend;
    Manner manner = Manner::Whole;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isBusy = true;
        toSend = answer;
        manner = answerManner;
    }
    const bool isRead = manner != Manner::ResetAtOnce;
    while (isRead && !IsWhole(received) && Receive(connection, received)) {}
    notify();
    Send(connection, toSend, manner == Manner::Drip ? 1 : toSend.size());
    if (manner == Manner::ThenReset || manner == Manner::ResetAtOnce) {
        const linger discard{1, 0};
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &discard, sizeof(discard));
    } else {
        shutdown(connection, SHUT_WR);
        while (Receive(connection, received)) {}
    }
    const std::lock_guard<std::mutex> lock(mutex);
    connections.push_back(std::move(received));
}
