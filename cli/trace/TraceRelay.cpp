#include "trace/TraceRelay.h"

#include <AccessTokenClaims.h>
#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace VarnelBase {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t MaxHeadBytes = std::size_t{1} << 20U;
constexpr std::size_t BufferBytes = std::size_t{64} << 10U;
constexpr std::size_t MaxLabelLength = 63;
constexpr unsigned int HttpPort = 80;
constexpr std::chrono::seconds Patience{30};

/// Whether a group can stand in front of a host name (RFC 1123, section 2.1). What the library
/// checks otherwise is the relay's to check, since the library sees no group.
bool IsHostLabel(const std::string& text) {
    const auto isAllowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-';
    };
    return text.size() <= MaxLabelLength && text.front() != '-' && text.back() != '-' &&
           std::all_of(text.begin(), text.end(), isAllowed);
}

std::string ReadBearerToken(const HttpHead& request) {
    const std::string value = request.Find("Authorization");
    const std::string scheme = "Bearer ";
    return value.rfind(scheme, 0) == 0 ? value.substr(scheme.size()) : "";
}

/// The host that the library would ask; empty: the token's group cannot be part of one.
std::string FindHost(const RelayedService& service, const HttpHead& request) {
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

void RedactToken(HttpHead& request) {
    for (auto& [name, value] : request.headers) {
        if (strcasecmp(name.c_str(), "Authorization") == 0) { value = "(redacted)"; }
    }
}

/// One direction of a connection: what was read and is not written yet.
struct Flow {
    int from;
    int to;
    std::string pending;
    bool isEnded = false; ///< there is nothing more to read
    bool isBroken = false;
    std::size_t total = 0;
    std::size_t written = 0; ///< of what is pending

    bool IsDone() const { return isBroken || (isEnded && pending.empty()); }

    /// Reads what is there; the number of bytes that are new.
    void Read() {
        pending.resize(BufferBytes);
        const ssize_t count = recv(from, pending.data(), pending.size(), 0);
        pending.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        total += pending.size();
        isEnded = count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
        isBroken = count < 0 && isEnded;
    }

    void Write() {
        const ssize_t count =
            send(to, pending.data() + written, pending.size() - written, MSG_NOSIGNAL);
        if (count < 0) {
            isBroken = errno != EAGAIN && errno != EINTR;
            return;
        }
        written += static_cast<std::size_t>(count);
        if (written < pending.size()) { return; }
        pending.clear();
        written = 0;
    }
};

/// Collects the beginning of an answer until its head is complete, leaving out interim ones.
class ResponseHead {
public:
    void Add(const std::string& bytes) {
        if (isComplete || collected.size() > MaxHeadBytes) { return; }
        collected += bytes;
        for (std::size_t end = FindHeadEnd(collected, begin); end != std::string::npos;
             end = FindHeadEnd(collected, begin)) {
            head = ParseHead(collected.substr(begin, end - begin));
            begin = end;
            isComplete = head.status < 100 || head.status > 199;
            if (isComplete) { break; }
        }
    }

    bool IsComplete() const { return isComplete; }
    const HttpHead& Get() const { return head; }
    std::size_t GetEnd() const { return begin; } ///< behind all heads, in bytes of the answer

private:
    std::string collected;
    std::size_t begin = 0;
    bool isComplete = false;
    HttpHead head;
};

/// Waits until the descriptor can be read; false: the relay is to stop.
bool AwaitBytes(int descriptor, int stop) {
    std::array<pollfd, 2> waiting{{{descriptor, POLLIN, 0}, {stop, POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0) {
        if (errno != EINTR) { return false; }
    }
    return waiting[1].revents == 0;
}

/// Reads until the head of the request is complete, and with it perhaps some of what follows.
std::string ReadRequestHead(int client, int stop) {
    Flow flow{client, -1, ""};
    std::string bytes;
    while (FindHeadEnd(bytes, 0) == std::string::npos && bytes.size() < MaxHeadBytes &&
           AwaitBytes(client, stop)) {
        flow.Read();
        bytes += flow.pending;
        if (flow.isEnded) { break; }
    }
    return bytes;
}

/// Closes with a reset, as the service did.
void ResetConnection(int descriptor) {
    const linger now{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

short FindEvents(const Flow& reading, const Flow& writing) {
    const bool canRead = !reading.isEnded && reading.pending.empty();
    return static_cast<short>((canRead ? POLLIN : 0) | (writing.pending.empty() ? 0 : POLLOUT));
}

/// Passes bytes on in both directions until the answer has ended, or nobody waits for it and it has
/// begun.
void Pump(Flow& up, Flow& down, ResponseHead& response, int stop) {
    while (!down.IsDone() && !(up.IsDone() && response.IsComplete() && down.pending.empty())) {
        const bool isUpDone = up.IsDone();
        std::array<pollfd, 3> waiting{{{up.from, FindEvents(up, down), 0},
                                       {up.to, FindEvents(down, up), 0},
                                       {stop, POLLIN, 0}}};
        // A descriptor that nothing is expected of would report its end again and again.
        if (waiting[0].events == 0) { waiting[0].fd = -1; }
        if (waiting[1].events == 0) { waiting[1].fd = -1; }
        if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) { return; }
        if (waiting[2].revents != 0) { return; }
        if (waiting[0].revents != 0 && (waiting[0].events & POLLIN) != 0) { up.Read(); }
        if (waiting[1].revents != 0 && (waiting[1].events & POLLIN) != 0) {
            down.Read();
            response.Add(down.pending);
        }
        if (!up.pending.empty()) { up.Write(); }
        if (!down.pending.empty()) { down.Write(); }
        if (!isUpDone && up.IsDone()) { shutdown(up.to, SHUT_WR); }
    }
}

double SecondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace

TraceRelay::TraceRelay(std::vector<RelayedService> relayed,
                       std::function<void(const TracedExchange&)> recorder)
    : services(std::move(relayed)), record(std::move(recorder)) {
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

void TraceRelay::Serve(Descriptor client, const RelayedService& service) {
    const double startSeconds = SecondsSince1970();
    const auto start = Clock::now();
    const std::string bytes = ReadRequestHead(client.Get(), stopReader.Get());
    const std::size_t headEnd = FindHeadEnd(bytes, 0);
    if (headEnd == std::string::npos) { return; }

    TracedExchange exchange;
    exchange.environment = service.environment;
    exchange.startSeconds = startSeconds;
    const std::string given = bytes.substr(0, headEnd);
    const std::string host = FindHost(service, ParseHead(given));
    const std::string authority = FormatAuthority(host, service.port);
    const std::string head = ReplaceHost(given, authority);
    exchange.request = ParseHead(head);
    exchange.url = "http://" + authority + exchange.request.target;

    ResponseHead response;
    const TcpConnection upstream =
        host.empty() && !service.groupsClaim.empty()
            ? TcpConnection{Descriptor(), {}, "the token's group cannot be part of a host name"}
            : ConnectTo(host, service.port, Patience);
    exchange.problem = upstream.problem;
    if (upstream.socket.IsOpen()) {
        const std::string sent = head + bytes.substr(headEnd);
        Flow up{client.Get(), upstream.socket.Get(), sent};
        Flow down{upstream.socket.Get(), client.Get(), ""};
        Pump(up, down, response, stopReader.Get());
        if (down.isBroken && down.isEnded) { ResetConnection(client.Get()); }
        exchange.requestBodyBytes = bytes.size() - headEnd + up.total;
        exchange.responseBodyBytes = down.total - response.GetEnd();
        exchange.response = response.Get();
        exchange.problem = response.IsComplete() ? "" : "the connection ended without an answer";
    }
    exchange.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    RedactToken(exchange.request);
    const std::lock_guard<std::mutex> lock(guard);
    record(exchange);
}

} // namespace VarnelBase
