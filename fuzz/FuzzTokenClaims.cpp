// The claims of a token: the input is a whole token, or after a "{" the document inside one.
#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>

#include "AccessTokenClaims.h"
#include "AuthHandler.h"

namespace {

std::string WrapClaims(const std::uint8_t* data, std::size_t size) {
    std::string encoded(size / 3 * 4 + 5, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), data,
                                       static_cast<int>(size));
    encoded.resize(static_cast<std::size_t>(length));
    std::replace(encoded.begin(), encoded.end(), '+', '-');
    std::replace(encoded.begin(), encoded.end(), '/', '_');
    return "e30." + encoded.substr(0, encoded.find('=')) + ".c2ln";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static VarnelBase::AuthHandler handler;
    const bool isDocument = size > 0 && data[0] == '{';
    const std::string token = isDocument ? WrapClaims(data, size) : std::string(data, data + size);
    handler.IsTokenExpired(token);
    VarnelBase::ReadFirstGroup(token, "groups");
    return 0;
}
