#pragma once

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ListenOnLoopback.h"

using Log = std::vector<std::string>;

/// @param headers each with its line end
inline std::string MakeKeptAnswer(int status, const std::string& body,
                                  const std::string& headers = "") {
    return "HTTP/1.1 " + std::to_string(status) + " Answer\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// The same from a service that says that it closes the connection.
inline std::string MakeAnswer(int status, const std::string& body,
                              const std::string& headers = "") {
    return MakeKeptAnswer(status, body, headers + "Connection: close\r\n");
}

/// A server on 127.0.0.1: raw bytes in, raw bytes out; one request per connection unless it is
/// kept.
class ScriptedServer {
public:
    /// How an answer goes out: at once, byte by byte, at once and followed by a reset, at once and
    /// with the connection kept for the next request; or not at all, but a reset before the request
    /// is read.
    enum class Manner { Whole, Bytes, ThenReset, Kept, Reset };

    ScriptedServer() {
        port = ListenOnLoopback(listener);
        thread = std::thread([this] {
            while (true) {
                const int accepted = accept(listener, nullptr, nullptr);
                if (accepted < 0 && errno == EMFILE) { continue; } // A test forbids them for now.
                if (accepted < 0) { break; }
                ++connections;
                Manner used = Manner::Kept;
                while (used == Manner::Kept) { used = Serve(accepted); }
                const bool isEnded = used == Manner::Whole || used == Manner::Bytes;
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

    /// What to answer from now on.
    ///
    /// @param bytes        empty: the connection is closed without an answer
    /// @param firstAnswers instead, to the next requests, in this order
    void Answer(std::string bytes, Manner how = Manner::Whole, Log firstAnswers = {}) {
        const std::lock_guard lock(mutex);
        answer = std::move(bytes);
        manner = how;
        first = std::move(firstAnswers);
    }

    /// Adds a line to the log, which says "request" whenever one has come.
    void Note(const std::string& line) {
        const std::lock_guard lock(mutex);
        log.push_back(line);
    }

    Log TakeLog() {
        const std::lock_guard lock(mutex);
        return std::exchange(log, {});
    }

    Log TakeRequests() {
        const std::lock_guard lock(mutex);
        return std::exchange(requests, {});
    }

    /// Method and target of each request.
    Log TakeTargets() {
        Log targets = TakeRequests();
        for (std::string& target : targets) { target.erase(target.find(" HTTP/1.1\r\n")); }
        return targets;
    }

    int TakeConnections() { return connections.exchange(0); }

    unsigned int port = 0;
    std::atomic<int> answers{0}; ///< that have been sent

private:
    /// Reads a request and answers it, unless it is to be reset, and tells how.
    Manner Serve(int connection) {
        std::unique_lock lock(mutex);
        const Manner how = manner;
        lock.unlock();
        if (how == Manner::Reset) { return how; }
        std::string request = Receive(connection);
        if (request.empty()) { return Manner::Whole; } // The client has closed its side.
        lock.lock();
        requests.push_back(std::move(request));
        log.emplace_back("request");
        const bool isFirst = !first.empty();
        const std::string bytes = isFirst ? first.front() : answer;
        if (isFirst) { first.erase(first.begin()); }
        lock.unlock();
        Send(connection, bytes, how == Manner::Bytes ? 1 : bytes.size());
        ++answers;
        return how == Manner::Kept && bytes.empty() ? Manner::Whole : how;
    }

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

    static void Send(int connection, const std::string& bytes, std::size_t atOnce) {
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        for (std::size_t sent = 0; sent < bytes.size(); sent += atOnce) {
            if (send(connection, &bytes[sent], atOnce, MSG_NOSIGNAL) < 0) { return; }
        }
    }

    std::atomic<int> connections{0};

    std::mutex mutex; // of what follows
    std::string answer;
    Manner manner = Manner::Whole;
    Log first;
    Log log;
    Log requests;

    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread thread;
};
