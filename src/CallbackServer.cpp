#include "CallbackServer.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <list>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "HttplibDifferences.h"
#include "PrivateFile.h"
#include "SigpipeGuard.h"

namespace VarnelBase {

namespace {

constexpr std::chrono::seconds ConnectionTimeout(1);
constexpr std::chrono::milliseconds IdleInterval(20);
constexpr std::size_t MaxHeadBytes = 1 << 14;
constexpr std::size_t MaxWaiting = 64;

enum class Head { Partial, Whole, Unusable };

/// Looks at what has arrived without taking it.
Head PeekHead(int socket) {
    std::array<char, MaxHeadBytes> bytes; // NOLINT(*-member-init): filled below
    const ssize_t count = recv(socket, bytes.data(), bytes.size(), MSG_PEEK | MSG_DONTWAIT);
    if (count < 0) {
        const bool isPending = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        return isPending ? Head::Partial : Head::Unusable;
    }
    const std::string_view head(bytes.data(), static_cast<std::size_t>(count));
    if (head.find("\r\n\r\n") != std::string_view::npos) { return Head::Whole; }
    return count == 0 || head.size() == bytes.size() ? Head::Unusable : Head::Partial;
}

void CloseConnection(int socket) {
    ::shutdown(socket, SHUT_RDWR);
    close(socket);
}

/// Whether two sockets have the same local address.
bool HasSameAddress(int left, int right) {
    sockaddr_storage leftAddress{};
    sockaddr_storage rightAddress{};
    socklen_t leftSize = sizeof(leftAddress);
    socklen_t rightSize = sizeof(rightAddress);
    return getsockname(left, reinterpret_cast<sockaddr*>(&leftAddress), &leftSize) == 0 &&
           getsockname(right, reinterpret_cast<sockaddr*>(&rightAddress), &rightSize) == 0 &&
           leftSize == rightSize && std::memcmp(&leftAddress, &rightAddress, leftSize) == 0;
}

/// The number of the next new descriptor; none: too many files are open.
std::optional<int> FindLowestFree() {
    const FileDescriptor probe(open("/", O_RDONLY | O_CLOEXEC));
    return probe.IsOpen() ? std::optional<int>(probe.Get()) : std::nullopt;
}

/// Runs the server's jobs in the thread that listens, each one only when the whole head of its
/// request has arrived. Stops the server when the attempt is over.
class CallbackQueue final : public httplib::TaskQueue {
public:
    using Job = std::function<void()>;
    /// `void` or `bool`, by cpp-httplib's release.
    using Accepted = decltype(std::declval<httplib::TaskQueue&>().enqueue(Job()));

    CallbackQueue(httplib::Server& loginServer, const LoginAttempt& loginAttempt)
        : server(loginServer), attempt(loginAttempt) {
        RunReadyJobs();
    }
    ~CallbackQueue() override {
        for (const Connection& connection : waiting) { CloseConnection(connection.socket); }
    }
    CallbackQueue(const CallbackQueue&) = delete;
    CallbackQueue& operator=(const CallbackQueue&) = delete;

    Accepted enqueue(Job job) override {
        Add(std::move(job));
        RunReadyJobs();
        return Accepted(true);
    }
    void on_idle() override { RunReadyJobs(); }
    void shutdown() override {}

private:
    struct Connection {
        int socket;
        Job job;
    };

    void Add(Job job);
    void RunReadyJobs();
    bool IsNew(int socket) const;
    int FindNewSocket() const;

    httplib::Server& server;
    const LoginAttempt& attempt;
    std::list<Connection> waiting;
    bool isStopped = false;
};

bool CallbackQueue::IsNew(int socket) const {
    const auto isIt = [socket](const Connection& known) { return known.socket == socket; };
    return socket != attempt.listener && HasSameAddress(socket, attempt.listener) &&
           std::none_of(waiting.begin(), waiting.end(), isIt);
}

/// The connection that was accepted last, which nobody names: the one with the listener's address
/// that is not known yet. It got the lowest number that was free, so it is looked for from the
/// lowest that is free now, downwards first: with many files open, there is a file at each number
/// between the two. Only what other threads do meanwhile can put it above.
int CallbackQueue::FindNewSocket() const {
    const int limit = static_cast<int>(sysconf(_SC_OPEN_MAX));
    const int lowestFree = FindLowestFree().value_or(limit);
    for (int socket = lowestFree - 1; socket >= 0; --socket) {
        if (IsNew(socket)) { return socket; }
    }
    for (int socket = lowestFree; socket < limit; ++socket) {
        if (IsNew(socket)) { return socket; }
    }
    return -1;
}

void CallbackQueue::Add(Job job) {
    const int socket = FindNewSocket();
    if (socket < 0) {
        job();
        return;
    }
    fcntl(socket, F_SETFD, FD_CLOEXEC);
    if (waiting.size() == MaxWaiting) {
        CloseConnection(waiting.front().socket);
        waiting.pop_front();
    }
    waiting.push_back({socket, std::move(job)});
}

void CallbackQueue::RunReadyJobs() {
    for (auto next = waiting.begin(); next != waiting.end() && !attempt.IsOver();) {
        const Head head = PeekHead(next->socket);
        if (head == Head::Partial) {
            ++next;
            continue;
        }
        const Connection connection = std::move(*next);
        next = waiting.erase(next);
        if (head == Head::Whole) {
            connection.job();
        } else {
            CloseConnection(connection.socket);
        }
    }
    if (attempt.IsOver() && !isStopped) {
        isStopped = true;
        server.stop();
    }
}

void AnswerRequest(
    const httplib::Request& request, httplib::Response& response, LoginAttempt& attempt,
    const std::function<void(const httplib::Request&, httplib::Response&)>& takeCallback) {
    const int status = attempt.Judge(request);
    if (status == 302) {
        attempt.isStarted = true;
        ShowPage(response, status, "Signing in", "The browser goes on to the provider.");
        response.set_header("Location", attempt.authorizationUrl);
        return;
    }
    if (status != 200) {
        ShowPage(response, status, "Nothing to see here", "This is not the expected sign-in.");
        return;
    }
    attempt.isOver = true;
    try {
        takeCallback(request, response);
    } catch (...) {
        // It must not leave: httplib would send its text to the browser.
        attempt.failure = std::current_exception();
        ShowPage(response, 400, "Signing in failed",
                 "The program that asked for it says why. You can close this page.");
    }
}

/// Whether this machine has 127.0.0.1.
bool HasIpv4Loopback() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const FileDescriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return probe.IsOpen() &&
           bind(probe.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

/// The port that the server listens on; 0 if no port is free.
int BindFirstFreePort(httplib::Server& server, const std::string& address,
                      const PortRanges& ports) {
    if (ports.empty()) { return std::max(0, server.bind_to_any_port(address)); }
    for (const auto& [first, last] : ports) {
        for (int port = first; port <= last; ++port) {
            if (server.bind_to_port(address, port)) { return port; }
        }
    }
    return 0;
}

} // namespace

std::string BindCallbackServer(httplib::Server& server, const PortRanges& ports) {
    const std::string address = HasIpv4Loopback() ? "127.0.0.1" : "::1";
    const int port = BindFirstFreePort(server, address, ports);
    if (port == 0 && ports.empty()) {
        throw std::runtime_error("no port on " + address + " is free for the browser's answer");
    }
    if (port == 0) {
        throw std::runtime_error("callbackPorts: no port of " + DescribePortRanges(ports) +
                                 " is free on " + address +
                                 " for the browser's answer: end the program that listens there, "
                                 "or set ports that the provider accepts as well");
    }
    return "http://" + (address == "::1" ? "[::1]" : address) + ":" + std::to_string(port) +
           "/callback";
}

void WidenCallbackListener(int listener) {
    if (!CanWaitFor(listener)) {
        throw std::runtime_error(
            "the browser's answer cannot be received: the program has more than " +
            std::to_string(FD_SETSIZE) +
            " files open. Compile it and VarnelBase with CPPHTTPLIB_USE_POLL");
    }
    listen(listener, SOMAXCONN);
}

httplib::Server MakeCallbackServer() {
    const SigpipeGuard guard;
    return httplib::Server();
}

void PrepareCallbackServer(
    httplib::Server& server, LoginAttempt& attempt,
    std::function<void(const httplib::Request&, httplib::Response&)> takeCallback) {
    server.set_keep_alive_max_count(1);
    server.set_read_timeout(ConnectionTimeout);
    server.set_write_timeout(ConnectionTimeout);
    server.set_idle_interval(IdleInterval);
    server.set_socket_options([&attempt](socket_t listener) {
        // httplib's own options would let another process share the port and take callbacks. This
        // one lets the port be taken again while connections of an earlier login end.
        const int isReused = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &isReused, sizeof(isReused));
        fcntl(listener, F_SETFD, FD_CLOEXEC);
        attempt.listener = listener;
    });
    server.new_task_queue = [&server, &attempt] { return new CallbackQueue(server, attempt); };
    server.set_pre_routing_handler(
        [&attempt, take = std::move(takeCallback)](const httplib::Request& request,
                                                   httplib::Response& response) {
            // httplib cuts ranges out of error pages too, but checks them only for other pages,
            // and 0.15.3 ends the program then. They may be ignored (RFC 9110, section 14.2).
            const_cast<httplib::Request&>(request).ranges.clear();
            AnswerRequest(request, response, attempt, take);
            return httplib::Server::HandlerResponse::Handled;
        });
}

} // namespace VarnelBase
