#include "ClientSocket.h"

#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <stdexcept>

namespace VarnelBase::Emulation {

namespace {

int LimitSize(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

} // namespace

TlsContext MakeTlsContext(const std::string& certificateFile, const std::string& keyFile) {
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    const auto require = [](bool isGood, const std::string& what) {
        if (isGood) { return; }
        const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
        throw std::runtime_error(what + ": " + (reason == nullptr ? "not usable" : reason));
    };
    require(context != nullptr && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1,
            "TLS");
    require(SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) == 1,
            "certificate " + certificateFile);
    require(SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) == 1 &&
                SSL_CTX_check_private_key(context.get()) == 1,
            "key " + keyFile);
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE |
                                        SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                        SSL_MODE_RELEASE_BUFFERS);
    return context;
}

ClientSocket::ClientSocket(int open, SSL_CTX* context) : descriptor(open) {
    if (context == nullptr) { return; }
    session.reset(SSL_new(context));
    if (session == nullptr || SSL_set_fd(session.get(), open) != 1) { throw std::bad_alloc(); }
    SSL_set_accept_state(session.get());
}

ClientSocket::Outcome ClientSocket::Explain(int result) {
    switch (SSL_get_error(session.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return Outcome::WantsRead;
        case SSL_ERROR_WANT_WRITE:
            return Outcome::WantsWrite;
        default:
            return Outcome::Ended;
    }
}

ClientSocket::Outcome ClientSocket::Receive(char* buffer, std::size_t& size) {
    ssize_t result = 0;
    if (session != nullptr) {
        ERR_clear_error();
        result = SSL_read(session.get(), buffer, LimitSize(size));
        if (result <= 0) { return Explain(static_cast<int>(result)); }
    } else {
        result = recv(descriptor, buffer, size, MSG_DONTWAIT);
        if (result < 0 && (errno == EAGAIN || errno == EINTR)) { return Outcome::WantsRead; }
        if (result <= 0) { return Outcome::Ended; }
    }
    size = static_cast<std::size_t>(result);
    return Outcome::Moved;
}

ClientSocket::Outcome ClientSocket::Send(std::string_view& bytes) {
    ssize_t result = 0;
    if (session != nullptr) {
        ERR_clear_error();
        result = SSL_write(session.get(), bytes.data(), LimitSize(bytes.size()));
        if (result <= 0) { return Explain(static_cast<int>(result)); }
    } else {
        result = send(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (result < 0 && (errno == EAGAIN || errno == EINTR)) { return Outcome::WantsWrite; }
        if (result < 0) { return Outcome::Ended; }
    }
    bytes.remove_prefix(static_cast<std::size_t>(result));
    return Outcome::Moved;
}

void ClientSocket::ShutDown() {
    if (session != nullptr && SSL_is_init_finished(session.get()) == 1) {
        ERR_clear_error();
        SSL_shutdown(session.get());
    }
    shutdown(descriptor, SHUT_WR);
}

void ClientSocket::PrepareReset() {
    const linger atOnce{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

} // namespace VarnelBase::Emulation
