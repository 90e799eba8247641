#include "HttpServer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <boost/asio/post.hpp>

#include <cerrno>
#include <csignal>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Connection.h"

namespace VarnelBase::Emulation {

namespace {

using boost::system::error_code;
using Tcp = boost::asio::ip::tcp;

constexpr std::chrono::milliseconds CheckInterval{250};
constexpr std::chrono::milliseconds CheckIntervalAtStop{10};
constexpr int AcceptedAtOnce = 64;

Tcp::acceptor Listen(boost::asio::io_context& loop, const ServerAddress& address) {
    try {
        Tcp::resolver resolver(loop);
        const Tcp::endpoint endpoint =
            *resolver.resolve(address.host, std::to_string(address.port), Tcp::resolver::passive)
                 .begin();
        Tcp::acceptor acceptor(loop, endpoint.protocol());
        fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
        acceptor.set_option(Tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
        return acceptor;
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("cannot listen on " + address.host + ", port " +
                                 std::to_string(address.port) + ": " + error.code().message());
    }
}

} // namespace

class HttpServer::Listener {
public:
    Listener(const ServerAddress& address, ServerCallbacks callbacks)
        : parts(std::move(callbacks)), acceptor(Listen(parts.loop, address)), timer(parts.loop) {
        if (!address.certificateFile.empty()) {
            parts.tls = MakeTlsContext(address.certificateFile, address.keyFile);
        }
        AwaitClients();
        // A host's signals are its own threads' business.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        thread = std::thread([this] { Run(); });
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    int GetPort() const { return acceptor.local_endpoint().port(); }

    void Stop() {
        const std::lock_guard<std::mutex> lock(stopping);
        if (!thread.joinable()) { return; }
        parts.isStopping = true;
        boost::asio::post(parts.loop, [this] {
            acceptor.close();
            for (const auto& connection : ListConnections()) { connection->Stop(); }
            timer.cancel();
        });
        thread.join();
        if (parts.waiters != nullptr) { parts.waiters->join(); }
    }

private:
    void Run() {
        while (true) {
            try {
                parts.loop.run();
                return;
            } catch (const std::exception&) {
                // Out of memory or the like: the connection ends by its time, the others go on.
            }
        }
    }

    void AwaitClients() {
        acceptor.async_wait(Tcp::acceptor::wait_read, [this](const error_code& error) {
            if (!error && acceptor.is_open()) { AcceptClients(); }
        });
    }

    void AcceptClients() {
        for (int accepted = 0; accepted < AcceptedAtOnce; ++accepted) {
            const int client =
                accept4(acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (client < 0) {
                const bool isExhausted =
                    errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
                isAccepting = !isExhausted;
                break;
            }
            const int on = 1;
            setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            std::make_shared<Connection>(parts, client)->Start();
        }
        if (!isChecking) { AwaitCheck(); }
        if (isAccepting) { AwaitClients(); }
    }

    void AwaitCheck() {
        isChecking = true;
        timer.expires_after(parts.isStopping ? CheckIntervalAtStop : CheckInterval);
        timer.async_wait([this](const error_code& /*error*/) {
            const auto now = Connection::Clock::now();
            for (const auto& connection : ListConnections()) { connection->CheckTime(now); }
            isChecking = false;
            if (!isAccepting && acceptor.is_open()) {
                isAccepting = true;
                AwaitClients();
            }
            if (!parts.connections.empty()) { AwaitCheck(); }
        });
    }

    /// A copy, since connections that close leave the set.
    std::vector<std::shared_ptr<Connection>> ListConnections() const {
        return {parts.connections.begin(), parts.connections.end()};
    }

    ServerParts parts;
    Tcp::acceptor acceptor;
    boost::asio::steady_timer timer;
    bool isAccepting = true;
    bool isChecking = false;
    std::mutex stopping;
    std::thread thread;
};

HttpServer::HttpServer(const ServerAddress& address, ServerCallbacks callbacks)
    : listener(std::make_unique<Listener>(address, std::move(callbacks))) {}

HttpServer::~HttpServer() {
    listener->Stop();
}

int HttpServer::GetPort() const {
    return listener->GetPort();
}

void HttpServer::Stop() {
    listener->Stop();
}

} // namespace VarnelBase::Emulation
