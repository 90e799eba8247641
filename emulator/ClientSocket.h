#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>

namespace VarnelBase::Emulation {

struct TlsDeleter {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* session) const { SSL_free(session); }
};

using TlsContext = std::unique_ptr<SSL_CTX, TlsDeleter>;

/// Reads what the server needs for TLS.
///
/// @param certificateFile certificate and the ones that signed it, PEM
/// @param keyFile         its private key, PEM
/// @throws std::runtime_error naming the file that cannot be used
TlsContext MakeTlsContext(const std::string& certificateFile, const std::string& keyFile);

/// Reads and writes a client's connection, in clear or through TLS, without ever waiting.
class ClientSocket {
public:
    /// What became of an attempt: bytes were moved, it must wait for the socket, or nothing more
    /// can be moved.
    enum class Outcome { Moved, WantsRead, WantsWrite, Ended };

    /// @param open    not closed by this object
    /// @param context null: no TLS
    ClientSocket(int open, SSL_CTX* context);

    /// @param size the buffer's size, afterwards that of what was read
    Outcome Receive(char* buffer, std::size_t& size);

    /// @param bytes afterwards those that were not sent
    Outcome Send(std::string_view& bytes);

    /// Tells the other side that nothing follows.
    void ShutDown();

    /// Has the close that follows be a TCP reset.
    void PrepareReset();

private:
    Outcome Explain(int result);

    int descriptor;
    std::unique_ptr<SSL, TlsDeleter> session;
};

} // namespace VarnelBase::Emulation
