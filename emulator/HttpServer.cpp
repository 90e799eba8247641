#include "HttpServer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/post.hpp>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Connection.h"

namespace VarnelBase::Emulation {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using Tcp = asio::ip::tcp;
using Acceptor = asio::basic_socket_acceptor<Tcp, ClientStream::executor_type>;

constexpr std::chrono::milliseconds CheckInterval{250};
constexpr std::chrono::milliseconds CheckIntervalAtStop{10};
constexpr int AcceptedAtOnce = 64;

Acceptor Listen(asio::io_context& loop, const ServerAddress& address) {
    try {
        Tcp::resolver resolver(loop);
        const Tcp::endpoint endpoint =
            *resolver.resolve(address.host, std::to_string(address.port), Tcp::resolver::passive)
                 .begin();
        Acceptor acceptor(loop.get_executor(), endpoint.protocol());
        fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
        acceptor.native_non_blocking(true); // accept4 is called until nobody waits
        acceptor.set_option(Tcp::acceptor::reuse_address(true));
        acceptor.set_option(Tcp::no_delay(true)); // which the connections inherit
        acceptor.bind(endpoint);
        acceptor.listen();
        return acceptor;
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("cannot listen on " + address.host + ", port " +
                                 std::to_string(address.port) + ": " + error.code().message());
    }
}

/// @throws std::runtime_error naming the file that cannot be used
void UseTls(const ServerAddress& address, asio::ssl::context& context) {
    SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
    error_code error;
    const auto require = [&error](const std::string& kind, const std::string& file) {
        const bool isReadable = access(file.c_str(), R_OK) == 0; // which OpenSSL does not explain
        if (!isReadable || error) {
            throw std::runtime_error(kind + " " + file + ": " +
                                     (isReadable ? error.message() : std::strerror(errno)));
        }
    };
    context.use_certificate_chain_file(address.certificateFile, error);
    require("certificate", address.certificateFile);
    context.use_private_key_file(address.keyFile, asio::ssl::context::pem, error);
    require("key", address.keyFile);
}

class Listener final : public HttpServer {
public:
    Listener(const ServerAddress& address, ServerCallbacks callbacks)
        : parts(std::move(callbacks)), acceptor(Listen(parts.loop, address)), timer(parts.loop) {
        if (!address.certificateFile.empty()) {
            UseTls(address, parts.tls.emplace(asio::ssl::context::tls_server));
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

    ~Listener() override { Listener::Stop(); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int GetPort() const override { return acceptor.local_endpoint().port(); }

    void Stop() override {
        const std::lock_guard<std::mutex> lock(stopping);
        if (!thread.joinable()) { return; }
        parts.isStopping = true;
        asio::post(parts.loop, [this] {
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
        acceptor.async_wait(Acceptor::wait_read, [this](const error_code& error) {
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
    Acceptor acceptor;
    asio::steady_timer timer;
    bool isAccepting = true;
    bool isChecking = false;
    std::mutex stopping;
    std::thread thread;
};

} // namespace

std::unique_ptr<HttpServer> StartHttpServer(const ServerAddress& address,
                                            ServerCallbacks callbacks) {
    return std::make_unique<Listener>(address, std::move(callbacks));
}

} // namespace VarnelBase::Emulation
