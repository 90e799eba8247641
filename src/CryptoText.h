#pragma once

#include <string>

namespace VarnelBase {

/// Decodes base64url without padding (RFC 4648, section 5); empty if the text is invalid.
std::string DecodeBase64Url(std::string text);

/// Base64 of a text's bytes (RFC 4648, section 4).
std::string EncodeBase64(const std::string& text);

/// Base64url of bytes, without padding (RFC 4648, section 5).
std::string EncodeBase64Url(const std::string& bytes);

/// SHA-256 of a text, as base64url: 43 characters, fit for a file name and for PKCE's S256.
std::string HashToBase64Url(const std::string& text);

/// 256 random bits from OpenSSL's generator, as base64url: 43 characters.
///
/// @throws std::runtime_error when the generator has no entropy
std::string MakeRandomText();

} // namespace VarnelBase
