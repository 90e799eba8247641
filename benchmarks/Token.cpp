#include "Token.h"

#include <TokenStore.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace {

std::string EncodeBase64Url(const std::string& text) {
    std::string encoded((text.size() + 2) / 3 * 4 + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    encoded.resize(static_cast<std::size_t>(length));
    std::replace(encoded.begin(), encoded.end(), '+', '-');
    std::replace(encoded.begin(), encoded.end(), '/', '_');
    encoded.erase(encoded.find_last_not_of('=') + 1);
    return encoded;
}

} // namespace

std::string SignIn() {
    constexpr std::time_t Day = 86400;
    const std::time_t now = std::time(nullptr);
    const std::string claims = R"({"iss":"https://id.example.com/realms/main","groups":["alpha"],)"
                               R"("permissions":")" +
                               std::string(500, 'p') + R"(","iat":)" + std::to_string(now) +
                               R"(,"exp":)" + std::to_string(now + Day) + "}";
    const std::string token = EncodeBase64Url(R"({"alg":"RS256","typ":"at+jwt"})") + "." +
                              EncodeBase64Url(claims) + "." +
                              EncodeBase64Url(std::string(256, 's'));
    setenv("VARNEL_AUTH_HOST", "https://id.example.com", 1);
    VarnelBase::TokenStore().Store({token, ""});
    return token;
}
