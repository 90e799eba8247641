#include "ConnectionServer.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <future>

#include "UtcTime.h"
#include "WorkerPool.h"

namespace VarnelBase::Emulation {

namespace {

using std::chrono::milliseconds;
using Setup = std::function<void(httplib::Request&)>;

constexpr std::size_t MaxBodyBytes = std::size_t{64} << 20U;
constexpr int MaxRequestsPerConnection = 1000;
constexpr std::chrono::seconds IdleTime{5};
constexpr std::size_t EndlessBlockBytes = 65536;

// The two forms of cpp-httplib's function that serves a request; the second one is that of 0.18 and
// later. Which of the two functions below applies is seen from its type.
using ProcessRequest = bool (httplib::Server::*)(httplib::Stream&, bool, bool&, const Setup&);
using ProcessRequestFrom = bool (httplib::Server::*)(httplib::Stream&, const std::string&, int,
                                                     const std::string&, int, bool, bool&,
                                                     const Setup&);

[[maybe_unused]] bool Process(httplib::Server& server, ProcessRequest process,
                              Connection& connection, bool isLast, bool& isClosing,
                              const Setup& setup) {
    return (server.*process)(connection, isLast, isClosing, setup);
}

[[maybe_unused]] bool Process(httplib::Server& server, ProcessRequestFrom process,
                              Connection& connection, bool isLast, bool& isClosing,
                              const Setup& setup) {
    return (server.*process)(connection, "", 0, "", 0, isLast, isClosing, setup);
}

/// Two emulators must not share a port, as cpp-httplib's own options would have it.
void SetSocketOptions(socket_t listening) {
    const int on = 1;
    setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

milliseconds ToMilliseconds(double seconds) {
    return milliseconds(std::llround(seconds * 1000));
}

/// The status that an announced length gets; 0: it is good.
int CheckLength(const std::string& text) {
    if (text.empty()) { return 0; }
    std::size_t length = 0;
    const char* end = text.data() + text.size();
    const auto outcome = std::from_chars(text.data(), end, length);
    if (outcome.ec == std::errc::result_out_of_range || length > MaxBodyBytes) { return 413; }
    return outcome.ec == std::errc() && outcome.ptr == end ? 0 : 400;
}

/// A head that announces no length.
std::string RemoveLength(const std::string& head) {
    const std::size_t begin = head.find("\r\nContent-Length:");
    if (begin == std::string::npos) { return head; }
    return head.substr(0, begin) + head.substr(head.find("\r\n", begin + 2));
}

std::string SpoilChunks(const std::string& head, const std::string& body) {
    const std::string lengthless = RemoveLength(head);
    std::string spoilt =
        lengthless.substr(0, lengthless.size() - 2) + "Transfer-Encoding: chunked\r\n\r\n";
    if (!body.empty()) { spoilt += "1\r\n" + body.substr(0, 1) + "\r\n"; }
    return spoilt + "no-length\r\n" + body;
}

} // namespace

/// A request while it is served.
struct ConnectionServer::InHand {
    Connection& connection;
    Exchange exchange;
    Fault fault;
    bool isPrepared = false; ///< its head is readable
    bool isAnswered = false; ///< its body could be read, too
    bool hasUnreadBody = false;
};

thread_local ConnectionServer::InHand* ConnectionServer::inHand = nullptr;

ConnectionServer::ConnectionServer(ServerCallbacks functions) : callbacks(std::move(functions)) {
    set_socket_options(SetSocketOptions);
    set_tcp_nodelay(true);
    set_payload_max_length(MaxBodyBytes);
    set_keep_alive_max_count(MaxRequestsPerConnection);
    set_keep_alive_timeout(IdleTime.count());
    set_pre_routing_handler([](const httplib::Request& request, httplib::Response& response) {
        // Cpp-httplib takes what is no number as 0, and reads a body that is too long to its end.
        if (const int status = CheckLength(request.get_header_value("Content-Length"))) {
            response.status = status;
            return HandlerResponse::Handled;
        }
        return inHand->fault.action == FaultAction::DropBeforeReading ? HandlerResponse::Handled
                                                                      : HandlerResponse::Unhandled;
    });
    const Handler handler = [this](const httplib::Request& request, httplib::Response& response) {
        AnswerRequest(request, response);
    };
    Get("/", handler);
    Post("/", handler);
    Put("/", handler);
    Patch("/", handler);
    Delete("/", handler);
    Options("/", handler);
    set_error_handler([](const httplib::Request& /*request*/, httplib::Response& response) {
        if (inHand->isAnswered) { return; }
        if (inHand->connection.IsHeadTooLarge()) { response.status = 431; }
        const Answer answer = MakeErrorAnswer(response.status, "bad_request",
                                              "the request is not HTTP that can be served");
        response.set_content(answer.body, answer.contentType);
    });
    set_logger([](const httplib::Request& /*request*/, const httplib::Response& response) {
        inHand->exchange.status = response.status;
    });
}

ConnectionServer::~ConnectionServer() {
    StopServing();
}

int ConnectionServer::StartServing(const std::string& address, int wantedPort) {
    errno = 0;
    const int port = wantedPort == 0                     ? bind_to_any_port(address)
                     : bind_to_port(address, wantedPort) ? wantedPort
                                                         : -1;
    if (port < 0) {
        const std::string reason = errno == 0 ? "not an address" : std::strerror(errno);
        throw std::runtime_error("cannot listen on " + address + ", port " +
                                 std::to_string(wantedPort) + ": " + reason);
    }
    // cpp-httplib lets five connections wait, too few for many clients at once.
    ::listen(svr_sock_, SOMAXCONN);

    std::promise<void> running;
    new_task_queue = [&running] {
        running.set_value();
        return new WorkerPool;
    };
    listener = std::thread([this] { listen_after_bind(); });
    running.get_future().wait();
    return port;
}

void ConnectionServer::StopServing() {
    const std::lock_guard<std::mutex> lock(stopping);
    if (!listener.joinable()) { return; }
    stopSignal.Raise();
    stop();
    listener.join();
}

bool ConnectionServer::process_and_close_socket(socket_t accepted) {
    // A process that the host starts meanwhile must not keep the connection open.
    fcntl(accepted, F_SETFD, FD_CLOEXEC);
    Connection connection(accepted, stopSignal);
    try {
        int served = 0;
        while (connection.AwaitRequest(IdleTime) &&
               ServeOne(connection, ++served == MaxRequestsPerConnection)) {}
    } catch (const std::exception&) {
        // Out of memory or the like: this connection ends, the others go on.
        return false;
    }
    return true;
}

bool ConnectionServer::ServeOne(Connection& connection, bool isLast) {
    InHand request{connection, {}, {}};
    const auto start = std::chrono::steady_clock::now();
    request.exchange.startedAt = GetMachineTime();
    connection.BeginRequest();
    bool isClosing = isLast;
    inHand = &request;
    Process(*this, &ConnectionServer::process_request, connection, isLast, isClosing,
            [this](httplib::Request& prepared) { PrepareRequest(prepared); });
    inHand = nullptr;

    const std::string bytes = connection.TakeOutput();
    if (bytes.empty()) {
        if (connection.IsHeadTooLarge()) { connection.DrainBeforeClose(); }
        return false;
    }
    if (!request.isPrepared) { request.exchange.request = ParseRequestHead(connection.GetHead()); }
    if (request.fault.delaySeconds > 0) {
        stopSignal.Wait(ToMilliseconds(request.fault.delaySeconds));
    }
    if (request.fault.action == FaultAction::DropBeforeReading ||
        request.fault.action == FaultAction::DropAfterReading ||
        request.fault.action == FaultAction::Reset) {
        request.exchange.status = 0;
    }
    request.exchange.faultRule = request.fault.rule;
    request.exchange.durationMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    callbacks.record(std::move(request.exchange));

    if (!Deliver(connection, request.fault, bytes)) { return false; }
    if (!request.isAnswered || request.hasUnreadBody) {
        connection.DrainBeforeClose();
        return false;
    }
    return !isClosing;
}

void ConnectionServer::PrepareRequest(httplib::Request& request) const {
    inHand->exchange.request = ParseRequestHead(inHand->connection.GetHead());
    inHand->fault = callbacks.chooseFault(inHand->exchange.request).value_or(Fault());
    inHand->isPrepared = true;

    // The emulator finds its functions itself. Cpp-httplib would match regular expressions, cut
    // ranges out, compress, and take forms apart.
    request.path = "/";
    request.ranges.clear();
    request.headers.erase("Accept-Encoding");
    request.headers.erase("Content-Type");
    const bool isChunked = request.has_header("Transfer-Encoding");
    if (!isChunked && !request.has_header("Content-Length")) {
        request.set_header("Content-Length", "0");
    }
    const bool takesBody =
        request.method != "GET" && request.method != "HEAD" && request.method != "OPTIONS";
    inHand->hasUnreadBody =
        !takesBody && (isChunked || request.get_header_value("Content-Length") != "0");
}

void ConnectionServer::AnswerRequest(const httplib::Request& request,
                                     httplib::Response& response) const {
    inHand->isAnswered = true;
    inHand->exchange.request.body = request.body;
    const Fault& fault = inHand->fault;
    Answer answer = fault.action == FaultAction::Status
                        ? MakeErrorAnswer(fault.status, "fault", "a fault rule wants this answer")
                        : callbacks.answer(inHand->exchange.request);
    ApplyFault(fault, answer);
    response.status = answer.status;
    response.body = std::move(answer.body);
    if (!answer.contentType.empty()) { response.set_header("Content-Type", answer.contentType); }
    for (const HeaderLine& line : answer.headers) {
        response.headers.emplace(line.first, line.second);
    }
}

bool ConnectionServer::Deliver(Connection& connection, const Fault& fault,
                               const std::string& bytes) {
    const std::size_t headSize = bytes.find("\r\n\r\n") + 4;
    const std::string_view all = bytes;
    switch (fault.action) {
        case FaultAction::DropBeforeReading:
        case FaultAction::DropAfterReading:
            return false;
        case FaultAction::Reset:
            connection.CloseWithReset();
            return false;
        case FaultAction::Truncate: {
            const std::size_t bodySize = bytes.size() - headSize;
            connection.Send(all.substr(0, bodySize == 0 ? headSize / 2 : headSize + bodySize / 2));
            return false;
        }
        case FaultAction::MalformedChunk:
            connection.Send(SpoilChunks(bytes.substr(0, headSize), bytes.substr(headSize)));
            return false;
        case FaultAction::Drip:
            for (std::size_t sent = 0; sent < bytes.size(); ++sent) {
                if (!connection.Send(all.substr(sent, 1))) { return false; }
                stopSignal.Wait(ToMilliseconds(fault.pauseSeconds));
            }
            return true;
        case FaultAction::Endless: {
            const std::string block(EndlessBlockBytes, ' ');
            bool isOpen = connection.Send(RemoveLength(bytes.substr(0, headSize)));
            for (std::int64_t left = fault.maxBytes;
                 isOpen && left > 0 && !stopSignal.IsRaised();) {
                const auto size = std::min<std::int64_t>(left, EndlessBlockBytes);
                isOpen = connection.Send(
                    std::string_view(block).substr(0, static_cast<std::size_t>(size)));
                left -= size;
            }
            return false;
        }
        default:
            return connection.Send(bytes);
    }
}

} // namespace VarnelBase::Emulation
