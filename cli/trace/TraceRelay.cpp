#include "trace/TraceRelay.h"

#include <AccessTokenClaims.h>
#include <AsciiCase.h>
#include <HostLabel.h>
#include <UtcTime.h>
#include <fcntl.h>
#include <boost/asio.hpp>

#include <array>
#include <chrono>
#include <deque>
#include <optional>
#include <thread>

#include "trace/MessageReader.h"

namespace VarnelBase {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr std::size_t BufferBytes = std::size_t{64} << 10U;
constexpr std::size_t MaxHeadBytes = std::size_t{1} << 20U;
constexpr unsigned int HttpPort = 80;
constexpr std::chrono::seconds Patience{30};
constexpr const char* HeadEnd = "\r\n\r\n";

/// The host that the library would ask; empty: the token's group cannot be part of one. The relay
/// has to check that, since the library sees no group.
std::string BuildHost(const RelayedService& service, const HttpHead& request) {
    if (service.groupsClaim.empty()) { return service.host; }
    const std::string group = ReadFirstGroup(request.FindBearerToken(), service.groupsClaim);
    if (group.empty()) { return service.host; }
    return IsHostLabel(group) ? group + "." + service.host : "";
}

/// The header "Host" as the library's HTTP client writes it.
std::string FormatAuthority(const std::string& host, unsigned int port) {
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return port == HttpPort ? name : name + ":" + std::to_string(port);
}

std::string FormatRequest(const HttpHead& head) {
    std::string text = head.method + " " + head.target + " " + head.version + "\r\n";
    for (const auto& [name, value] : head.headers) { text += name + ": " + value + "\r\n"; }
    return text + "\r\n";
}

bool IsClosing(const HttpHead& head) {
    return LowerCase(head.Find("Connection")) == "close" || head.version == "HTTP/1.0";
}

/// What the connections have in common.
struct Relaying {
    std::size_t bodyBytes;
    std::function<void(TracedExchange)> record;
    asio::io_context context{1};
};

/// An exchange that is under way.
struct Exchange {
    Exchange(std::size_t bodyBytes, const std::string& head) : request(bodyBytes) {
        request.Take(head);
        traced.request = request.GetHead();
        response.emplace(bodyBytes, traced.request.method == "HEAD");
    }

    TracedExchange traced;
    Clock::time_point start = Clock::now();
    RequestReader request;
    std::optional<ResponseReader> response;
};

/// A client's connection, with the one to the service that belongs to it. Lives until both are
/// closed: what it waits for keeps it alive.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(Relaying& used, const RelayedService& asked, tcp::socket accepted)
        : relay(used), service(asked), client(std::move(accepted)) {}

    /// Waits for the first request.
    void Start() { BeginExchange(); }

    /// Ends and records what is under way.
    void Stop() {
        if (exchange) { Finish(); }
        Close();
    }

private:
    /// Begins when a request's head is complete; waits for that until the client or the service
    /// closes its connection.
    void BeginExchange() {
        const std::size_t end = fromClient.find(HeadEnd);
        if (end == std::string::npos) {
            const bool isOver = isClientEnded || fromClient.size() > MaxHeadBytes;
            isOver ? Close() : ReadClient();
            return;
        }
        upstream.cancel(ignored);
        isRelaying = false;
        exchange = std::make_unique<Exchange>(relay.bodyBytes, fromClient.substr(0, end + 4));
        fromClient.erase(0, end + 4);
        HttpHead& head = exchange->traced.request;
        const std::string host = BuildHost(service, head);
        const std::string authority = FormatAuthority(host, service.port);
        exchange->traced.environment = service.environment;
        exchange->traced.startedAt = GetMachineTime();
        exchange->traced.url = "http://" + authority + head.target;
        head.Replace("Host", authority);
        // Nobody can read or redact a body that is compressed.
        if (relay.bodyBytes > 0) { head.Replace("Accept-Encoding", "identity"); }
        toService = FormatRequest(head);
        if (!exchange->request.GetProblem().empty()) {
            Fail("the request " + exchange->request.GetProblem());
        } else if (host.empty()) {
            Fail("the token's group cannot be part of a host name");
        } else if (authority != connectedTo) {
            Connect(host, authority);
        } else {
            IsServiceGone() ? Finish() : RelayBoth();
        }
    }

    /// Whether the service has closed a connection that it had kept.
    bool IsServiceGone() {
        std::array<char, 1> byte{};
        error_code error;
        upstream.receive(asio::buffer(byte), tcp::socket::message_peek, error);
        return error != asio::error::would_block;
    }

    void Connect(const std::string& host, const std::string& authority) {
        connectedTo = authority;
        timer.expires_after(Patience);
        timer.async_wait([self = shared_from_this()](error_code error) {
            if (error) { return; }
            self->resolver.cancel();
            self->upstream.close(self->ignored);
        });
        resolver.async_resolve(
            host, std::to_string(service.port),
            [self = shared_from_this(), host](error_code error, const auto& addresses) {
                if (!self->exchange) { return; }
                if (error) {
                    self->Fail("the host name \"" + host +
                               "\" does not resolve: " + error.message());
                    return;
                }
                asio::async_connect(self->upstream, addresses,
                                    [self, host](error_code failure, const tcp::endpoint&) {
                                        self->EndConnecting(host, failure);
                                    });
            });
    }

    void EndConnecting(const std::string& host, error_code error) {
        timer.cancel();
        if (!exchange) { return; }
        if (error) {
            if (error == asio::error::operation_aborted) { error = asio::error::timed_out; }
            Fail(host + " port " + std::to_string(service.port) + ": " + error.message());
            return;
        }
        upstream.non_blocking(true, ignored);
        RelayBoth();
    }

    void RelayBoth() {
        isRelaying = true;
        ReadService();
        PassRequestOn();
    }

    void ReadClient() {
        if (isReadingClient || isClientEnded || fromClient.size() > MaxHeadBytes) { return; }
        isReadingClient = true;
        client.async_read_some(asio::buffer(clientBytes),
                               [self = shared_from_this()](error_code error, std::size_t count) {
                                   self->isReadingClient = false;
                                   self->isClientEnded = bool(error);
                                   self->fromClient.append(self->clientBytes.data(), count);
                                   self->exchange ? self->PassRequestOn() : self->BeginExchange();
                               });
    }

    /// Sends what there is of the request, and reads on, if only to see the client go.
    void PassRequestOn() {
        if (isWritingToService || !isRelaying) { return; }
        const std::size_t taken = exchange->request.Take(fromClient);
        toService += fromClient.substr(0, taken);
        fromClient.erase(0, taken);
        if (toService.empty()) {
            if (isClientEnded && fromClient.empty()) {
                upstream.shutdown(tcp::socket::shutdown_send, ignored);
            }
            ReadClient();
            return;
        }
        isWritingToService = true;
        asio::async_write(upstream, asio::buffer(toService),
                          [self = shared_from_this()](error_code error, std::size_t /*count*/) {
                              self->isWritingToService = false;
                              self->toService.clear();
                              // Whoever reads the answer learns that the service has gone.
                              if (!error && self->exchange) { self->PassRequestOn(); }
                          });
    }

    void ReadService() {
        upstream.async_read_some(asio::buffer(serviceBytes),
                                 [self = shared_from_this()](error_code error, std::size_t count) {
                                     if (!self->exchange) { return; }
                                     self->isServiceReset = error && error != asio::error::eof;
                                     error ? self->Finish() : self->PassAnswerOn(count);
                                 });
    }

    void PassAnswerOn(std::size_t count) {
        exchange->response->Take({serviceBytes.data(), count});
        asio::async_write(client, asio::buffer(serviceBytes, count),
                          [self = shared_from_this()](error_code error, std::size_t /*count*/) {
                              if (!self->exchange) { return; }
                              self->isClientGone = bool(error);
                              const bool isOver = error || self->exchange->response->IsComplete();
                              isOver ? self->Finish() : self->ReadService();
                          });
    }

    void Fail(const std::string& problem) {
        exchange->traced.problem = problem;
        Finish();
    }

    /// Records the exchange, and waits for the next one where both sides keep their connections.
    void Finish() {
        const std::unique_ptr<Exchange> ended = std::move(exchange);
        TracedExchange& traced = ended->traced;
        ended->response->End();
        ended->request.End();
        const std::string& answer = ended->response->GetProblem();
        const std::string& request = ended->request.GetProblem();
        if (traced.problem.empty()) {
            traced.problem = !answer.empty()    ? "the answer " + answer
                             : !request.empty() ? "the request " + request
                                                : "";
        }
        traced.milliseconds =
            std::chrono::duration<double, std::milli>(Clock::now() - ended->start).count();
        traced.response = ended->response->GetHead();
        traced.requestBody = ended->request.GetBody();
        traced.responseBody = ended->response->GetBody();
        const bool isKept = traced.problem.empty() && !isClientGone && !isWritingToService &&
                            !IsClosing(traced.request) && !IsClosing(traced.response);
        relay.record(std::move(traced));
        if (!isKept) {
            Close();
            return;
        }
        upstream.async_wait(tcp::socket::wait_read, [self = shared_from_this()](error_code error) {
            if (!error && !self->exchange) { self->Close(); }
        });
        BeginExchange();
    }

    void Close() {
        if (isServiceReset) { client.set_option(asio::socket_base::linger(true, 0), ignored); }
        client.close(ignored);
        upstream.close(ignored);
        resolver.cancel();
        timer.cancel();
    }

    Relaying& relay;
    const RelayedService& service;
    tcp::socket client;
    tcp::socket upstream{relay.context};
    tcp::resolver resolver{relay.context};
    asio::steady_timer timer{relay.context};
    std::array<char, BufferBytes> clientBytes{};
    std::array<char, BufferBytes> serviceBytes{};
    std::string fromClient;  ///< what is not yet part of a request
    std::string toService;   ///< what is being written to the service
    std::string connectedTo; ///< the authority of the service's connection
    std::unique_ptr<Exchange> exchange;
    bool isReadingClient = false;
    bool isWritingToService = false;
    bool isRelaying = false; ///< the service is connected
    bool isClientEnded = false;
    bool isClientGone = false;
    bool isServiceReset = false;
    error_code ignored;
};

} // namespace

class TraceRelay::Connections {
public:
    Connections(std::vector<RelayedService> relayed, std::size_t bodyBytes,
                std::function<void(TracedExchange)> record)
        : services(std::move(relayed)), relay{bodyBytes, std::move(record)} {
        for (const RelayedService& service : services) {
            const tcp::endpoint loopback(asio::ip::address_v4::loopback(), 0);
            tcp::acceptor& listener = listeners.emplace_back(relay.context, loopback);
            fcntl(listener.native_handle(), F_SETFD, FD_CLOEXEC);
            Accept(listener, service);
        }
        thread = std::thread([this] { relay.context.run(); });
    }

    ~Connections() {
        asio::post(relay.context, [this] {
            for (tcp::acceptor& listener : listeners) { listener.close(); }
            for (const auto& kept : connections) {
                if (const auto connection = kept.lock()) { connection->Stop(); }
            }
        });
        thread.join();
    }
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    unsigned int GetPort(std::size_t service) const {
        return listeners.at(service).local_endpoint().port();
    }

private:
    void Accept(tcp::acceptor& listener, const RelayedService& service) {
        listener.async_accept([this, &listener, &service](error_code error, tcp::socket client) {
            if (!error) {
                const auto connection =
                    std::make_shared<Connection>(relay, service, std::move(client));
                connections.emplace_back(connection);
                connection->Start();
            }
            if (listener.is_open()) { Accept(listener, service); }
        });
    }

    std::vector<RelayedService> services;
    Relaying relay;
    std::deque<tcp::acceptor> listeners;
    std::vector<std::weak_ptr<Connection>> connections;
    std::thread thread;
};

TraceRelay::TraceRelay(std::vector<RelayedService> services, std::size_t bodyBytes,
                       std::function<void(TracedExchange)> record)
    : connections(
          std::make_unique<Connections>(std::move(services), bodyBytes, std::move(record))) {}

TraceRelay::~TraceRelay() = default;

unsigned int TraceRelay::GetPort(std::size_t service) const {
    return connections->GetPort(service);
}

} // namespace VarnelBase
