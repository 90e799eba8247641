#pragma once

#include <openssl/types.h>

#include <string>

namespace VarnelBase {

/// Has a connection be TLS 1.2 or later, and the server's certificate name the host, by OpenSSL's
/// own check (HTTP libraries' own accept some wrong names).
///
/// @return false when that cannot be set
bool RequireTlsHost(SSL_CTX* context, const std::string& host);

/// Trusts the certificates (PEM) of a file besides the others.
///
/// @return false when it holds none that can be read
bool TrustCaFile(SSL_CTX* context, const std::string& caFile);

} // namespace VarnelBase
