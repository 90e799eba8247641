#pragma once

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Log = std::vector<std::string>;

/// A server on 127.0.0.1: one request per connection, raw bytes in, raw bytes out. Its thread uses
/// the members between a request and the answer, while the test's thread waits.
class ScriptedServer {
public:
    /// How an answer goes out: at once, byte by byte, at once and followed by a reset; or not at
    /// all, but a reset before the request is read.
    enum class Manner { Whole, Bytes, ThenReset, Reset };

    ScriptedServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener, generic, size) == 0) { listen(listener, 16); }
        getsockname(listener, generic, &size);
        port = ntohs(address.sin_port);
        thread = std::thread([this] {
            for (int accepted = 0; (accepted = accept(listener, nullptr, nullptr)) >= 0;) {
                const Manner chosen = manner; // What is shared may change once bytes are sent.
                if (chosen != Manner::Reset) {
                    requests.push_back(Receive(accepted));
                    log.emplace_back("request");
                    Send(accepted);
                }
                const bool isEnded = chosen == Manner::Whole || chosen == Manner::Bytes;
                const linger discarding{isEnded ? 0 : 1, 0};
                setsockopt(accepted, SOL_SOCKET, SO_LINGER, &discarding, sizeof(discarding));
                if (isEnded) { shutdown(accepted, SHUT_WR); }
                close(accepted);
            }
        });
    }
    ~ScriptedServer() {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::string answer; ///< to every later request; empty: the connection is closed without one
    Log firstAnswers;   ///< instead, to the next requests, in this order
    Manner manner = Manner::Whole;
    Log log; ///< "request" whenever one has come, and what others add
    Log requests;
    unsigned int port = 0;

    Log TakeLog() { return std::exchange(log, {}); }
    Log TakeRequests() { return std::exchange(requests, {}); }

    /// Method and target of each request.
    Log TakeTargets() {
        Log targets = TakeRequests();
        for (std::string& target : targets) { target.erase(target.find(" HTTP/1.1\r\n")); }
        return targets;
    }

private:
    static std::string Receive(int connection) {
        std::string request;
        std::array<char, 65536> chunk{};
        for (std::size_t size = std::string::npos; request.size() < size;) {
            const ssize_t count = recv(connection, chunk.data(), chunk.size(), 0);
            if (count <= 0) { break; }
            request.append(chunk.data(), static_cast<std::size_t>(count));
            const std::size_t headEnd = request.find("\r\n\r\n");
            if (headEnd == std::string::npos) { continue; }
            const std::size_t length = request.find("\r\nContent-Length: ");
            size = headEnd + 4 + (length < headEnd ? std::stoul(&request[length + 18]) : 0);
        }
        return request;
    }

    void Send(int connection) {
        const bool isFirst = !firstAnswers.empty();
        const std::string bytes = isFirst ? firstAnswers.front() : answer;
        if (isFirst) { firstAnswers.erase(firstAnswers.begin()); }
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        const std::size_t atOnce = manner == Manner::Bytes ? 1 : bytes.size();
        for (std::size_t sent = 0; sent < bytes.size(); sent += atOnce) {
            if (send(connection, &bytes[sent], atOnce, MSG_NOSIGNAL) < 0) { return; }
        }
    }

    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread thread;
};
