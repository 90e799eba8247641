#pragma once

#include <openssl/types.h>

#include <string>

namespace VarnelBase {

/// Requires TLS 1.2 or later, and a certificate for the host by OpenSSL's check (those of HTTP
/// libraries accept some wrong names).
///
/// @return false if that cannot be set
bool RequireTlsHost(SSL_CTX* context, const std::string& host);

/// Trusts the certificates (PEM) in a file in addition to the others.
///
/// @return false if no certificate can be read from it
bool TrustCaFile(SSL_CTX* context, const std::string& caFile);

} // namespace VarnelBase
