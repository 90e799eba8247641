#include "trace/TraceRelay.h"

#include <AccessTokenClaims.h>
#include <AsciiCase.h>
#include <HostLabel.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace VarnelBase {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t BufferBytes = std::size_t{64} << 10U;
constexpr unsigned int HttpPort = 80;
constexpr std::chrono::seconds Patience{30};

/// The host that the library would ask; empty: the token's group cannot be part of one. The relay
/// has to check that, since the library sees no group.
std::string BuildHost(const RelayedService& service, const HttpHead& request) {
    if (service.groupsClaim.empty()) { return service.host; }
    const std::string group = ReadFirstGroup(ReadBearerToken(request), service.groupsClaim);
    if (group.empty()) { return service.host; }
    return IsHostLabel(group) ? group + "." + service.host : "";
}

/// The header "Host" as the library's HTTP client writes it.
std::string FormatAuthority(const std::string& host, unsigned int port) {
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return port == HttpPort ? name : name + ":" + std::to_string(port);
}

/// One of the two connections of an exchange.
struct Side {
    explicit Side(int number) : descriptor(number) {}

    int descriptor;
    std::string pending;  ///< to be written to it
    bool isEnded = false; ///< there is nothing more to read
    bool isBroken = false;

    /// Reads what is there.
    std::string Read() {
        std::string bytes(BufferBytes, '\0');
        const ssize_t count = recv(descriptor, bytes.data(), bytes.size(), 0);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        const bool isWaiting = count < 0 && (errno == EAGAIN || errno == EINTR);
        isEnded = count <= 0 && !isWaiting;
        isBroken = count < 0 && isEnded;
        return bytes;
    }

    void Write() {
        const ssize_t count = send(descriptor, pending.data(), pending.size(), MSG_NOSIGNAL);
        if (count >= 0) {
            pending.erase(0, static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            pending.clear();
            isBroken = true;
        }
    }

    pollfd Await(bool isReading) const {
        const bool isRead = isReading && !isEnded;
        const auto events =
            static_cast<short>((isRead ? POLLIN : 0) | (pending.empty() ? 0 : POLLOUT));
        // A descriptor that nothing is expected of would report its end again and again.
        return {events == 0 ? -1 : descriptor, events, 0};
    }
};

/// Closes with a reset, as the service did.
void ResetConnection(int descriptor) {
    const linger now{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

/// Passes bytes on in both directions until the answer is complete, or nobody waits for it or gives
/// it any more.
///
/// @param fromClient what has been read of the client and not been passed on
/// @return false: the relay is to stop
bool Pump(Side& client, Side& service, std::string& fromClient, MessageReader& request,
          MessageReader& response, int stop) {
    while (!client.isBroken &&
           !(client.pending.empty() && (service.isEnded || response.IsComplete()))) {
        fromClient.erase(0, [&] {
            const std::size_t taken = request.Take(fromClient);
            service.pending.append(fromClient, 0, taken);
            return taken;
        }());
        const bool isAllPassed = fromClient.empty() && service.pending.empty();
        if (client.isEnded && isAllPassed) { shutdown(service.descriptor, SHUT_WR); }
        const bool hasRoom =
            service.pending.size() < BufferBytes && fromClient.size() < BufferBytes;
        std::array<pollfd, 3> waiting{{client.Await(hasRoom),
                                       service.Await(client.pending.size() < BufferBytes),
                                       {stop, POLLIN, 0}}};
        if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) { break; }
        if (waiting[2].revents != 0) { return false; }
        if ((waiting[0].revents & POLLOUT) != 0) { client.Write(); }
        if ((waiting[1].revents & POLLOUT) != 0) { service.Write(); }
        if ((waiting[0].revents & ~POLLOUT) != 0) { fromClient += client.Read(); }
        if ((waiting[1].revents & ~POLLOUT) != 0) {
            const std::string bytes = service.Read();
            response.Take(bytes);
            client.pending += bytes;
            if (service.isEnded) { response.End(); }
        }
    }
    return true;
}

/// Reads until the head of the next request is complete. False: there is no further one, or the
/// service has closed its connection, or the relay is to stop.
bool AwaitRequest(Side& client, std::string& fromClient, int service, int stop) {
    while (!client.isEnded && FindHeadEnd(fromClient) == std::string::npos &&
           fromClient.size() < MaxHttpHeadBytes) {
        std::array<pollfd, 3> waiting{
            {client.Await(true), {service, POLLIN, 0}, {stop, POLLIN, 0}}};
        if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) { return false; }
        if (waiting[1].revents != 0 || waiting[2].revents != 0) { return false; }
        if (waiting[0].revents != 0) { fromClient += client.Read(); }
    }
    return FindHeadEnd(fromClient) != std::string::npos;
}

bool IsClosing(const HttpHead& head) {
    return LowerCase(head.Find("Connection")) == "close" || head.version == "HTTP/1.0";
}

TracedBody KeepBody(const MessageReader& message) {
    return {message.GetBody(), message.GetBodyBytes(), message.IsBodyWhole()};
}

double SecondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace

TraceRelay::TraceRelay(std::vector<RelayedService> relayed, std::size_t keptBody,
                       std::function<void(const TracedExchange&)> recorder)
    : services(std::move(relayed)), bodyBytes(keptBody), record(std::move(recorder)) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    stopReader = Descriptor(ends[0]);
    stopWriter = Descriptor(ends[1]);
    for (std::size_t i = 0; i < services.size(); ++i) { listeners.push_back(ListenOnLoopback()); }
    acceptor = std::thread([this] { AcceptConnections(); });
}

TraceRelay::~TraceRelay() {
    stopWriter = Descriptor();
    acceptor.join();
    std::unique_lock<std::mutex> lock(guard);
    finished.wait(lock, [this] { return active == 0; });
}

void TraceRelay::AcceptConnections() {
    std::vector<pollfd> waiting{{stopReader.Get(), POLLIN, 0}};
    for (const Descriptor& listener : listeners) { waiting.push_back({listener.Get(), POLLIN, 0}); }
    while (poll(waiting.data(), waiting.size(), -1) >= 0 || errno == EINTR) {
        if (waiting[0].revents != 0) { return; }
        for (std::size_t i = 0; i < services.size(); ++i) {
            if (waiting[i + 1].revents == 0) { continue; }
            Descriptor client(
                accept4(listeners[i].Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (!client.IsOpen()) { continue; }
            {
                const std::lock_guard<std::mutex> lock(guard);
                ++active;
            }
            const auto leave = [this] {
                const std::lock_guard<std::mutex> lock(guard);
                --active;
                finished.notify_all();
            };
            try {
                std::thread([this, i, leave, connection = std::move(client)]() mutable {
                    Serve(std::move(connection), services[i]);
                    leave();
                }).detach();
            } catch (const std::system_error&) {
                leave(); // no thread is to be had: the client finds its connection closed
            }
        }
    }
}

void TraceRelay::Serve(Descriptor connection, const RelayedService& service) {
    Side client(connection.Get());
    std::string fromClient;
    TcpConnection upstream;
    std::string connectedTo;
    bool isGoingOn = true;
    while (isGoingOn && AwaitRequest(client, fromClient, upstream.socket.Get(), stopReader.Get())) {
        TracedExchange exchange;
        exchange.environment = service.environment;
        exchange.startSeconds = SecondsSince1970();
        const auto start = Clock::now();

        const std::size_t headEnd = FindHeadEnd(fromClient);
        const HttpHead given = ParseHead(fromClient.substr(0, headEnd));
        const std::string host = BuildHost(service, given);
        const std::string authority = FormatAuthority(host, service.port);
        std::string head = ReplaceHeader(fromClient.substr(0, headEnd), "Host", authority);
        // Nobody can read or redact a body that is compressed.
        if (bodyBytes > 0) { head = ReplaceHeader(head, "Accept-Encoding", "identity"); }
        exchange.request = ParseHead(head);
        exchange.url = "http://" + authority + given.target;
        if (authority != connectedTo) {
            upstream = host.empty() ? TcpConnection{Descriptor(),
                                                    {},
                                                    "the token's group cannot be part of "
                                                    "a host name"}
                                    : ConnectTo(host, service.port, Patience);
            connectedTo = authority;
        }

        MessageReader request(nullptr, bodyBytes);
        MessageReader response(&exchange.request, bodyBytes);
        exchange.problem = upstream.problem;
        isGoingOn = upstream.socket.IsOpen();
        if (isGoingOn) {
            Side up(upstream.socket.Get());
            fromClient.erase(0, request.Take(std::string_view(fromClient).substr(0, headEnd)));
            up.pending = head;
            isGoingOn = Pump(client, up, fromClient, request, response, stopReader.Get());
            response.End();
            request.End();
            exchange.problem =
                !response.GetProblem().empty()  ? "the answer " + response.GetProblem()
                : !request.GetProblem().empty() ? "the request " + request.GetProblem()
                                                : "";
            if (up.isBroken && up.isEnded) { ResetConnection(client.descriptor); }
            isGoingOn = isGoingOn && exchange.problem.empty() && !up.isEnded && !client.isBroken &&
                        !IsClosing(exchange.request) && !IsClosing(response.GetHead());
        }
        exchange.milliseconds =
            std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        exchange.response = response.GetHead();
        exchange.requestBody = KeepBody(request);
        exchange.responseBody = KeepBody(response);
        const std::lock_guard<std::mutex> lock(guard);
        record(exchange);
    }
}

} // namespace VarnelBase
