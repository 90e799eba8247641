#include "Token.h"

#include <CryptoText.h>
#include <TokenStore.h>

#include <cstdlib>
#include <ctime>

std::string SignIn() {
    constexpr std::time_t Day = 86400;
    const std::time_t now = std::time(nullptr);
    const std::string claims = R"({"iss":"https://id.example.com/realms/main","groups":["alpha"],)"
                               R"("permissions":")" +
                               std::string(500, 'p') + R"(","iat":)" + std::to_string(now) +
                               R"(,"exp":)" + std::to_string(now + Day) + "}";
    const std::string token = VarnelBase::EncodeBase64Url(R"({"alg":"RS256","typ":"at+jwt"})") +
                              "." + VarnelBase::EncodeBase64Url(claims) + "." +
                              VarnelBase::EncodeBase64Url(std::string(256, 's'));
    setenv("VARNEL_AUTH_HOST", "https://id.example.com", 1);
    VarnelBase::TokenStore().Store({token, ""});
    return token;
}
