#include "CryptoText.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace VarnelBase {

namespace {

using Block = std::array<unsigned char, 32>; ///< 256 bits, a hash or random ones

bool IsBase64Url(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

} // namespace

std::string DecodeBase64Url(std::string text) {
    if (!std::all_of(text.begin(), text.end(), IsBase64Url) || text.size() % 4 == 1) { return ""; }
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    const std::size_t padding = (4 - text.size() % 4) % 4;
    text.append(padding, '=');

    std::vector<unsigned char> bytes(text.size() / 4 * 3);
    const int length =
        EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
    if (length < 0) { return ""; }
    return {bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(padding)};
}

std::string EncodeBase64(const std::string& text) {
    std::vector<unsigned char> encoded((text.size() + 2) / 3 * 4 + 1); // and OpenSSL's NUL
    const int length =
        EVP_EncodeBlock(encoded.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
    return {encoded.begin(), encoded.begin() + length};
}

std::string EncodeBase64Url(const std::string& bytes) {
    std::string text = EncodeBase64(bytes);
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text.substr(0, text.find('='));
}

std::string HashToBase64Url(const std::string& text) {
    Block hash{};
    if (EVP_Digest(text.data(), text.size(), hash.data(), nullptr, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    return EncodeBase64Url({hash.begin(), hash.end()});
}

std::string MakeRandomText() {
    Block random{};
    if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) {
        throw std::runtime_error("random numbers are not available");
    }
    return EncodeBase64Url({random.begin(), random.end()});
}

} // namespace VarnelBase
