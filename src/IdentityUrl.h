#pragma once

#include <string>

namespace VarnelBase {

/// An address at the identity provider, in its parts.
struct IdentityUrl {
    bool isSecure = false; ///< https
    std::string host;      ///< name or address in small letters; IPv6 without brackets
    int port = 0;
    std::string target; ///< path and query; "" for none
};

/// Parses an address (RFC 3986). It must be https, or http on this machine (127.0.0.0/8, ::1,
/// localhost), since passwords and tokens are sent there, without user information and fragment.
///
/// @param name names the address in the error's text; the address itself may contain a secret
/// @throws std::runtime_error "NAME: reason"
IdentityUrl ParseIdentityUrl(const std::string& text, const std::string& name);

/// Whether a host is this machine: 127.0.0.0/8, ::1 or localhost.
bool IsLoopback(const std::string& host);

/// Escapes all but letters, digits, "-", ".", "_" and "~" (RFC 3986, section 2.3).
std::string EncodeUrlText(const std::string& text);

} // namespace VarnelBase
