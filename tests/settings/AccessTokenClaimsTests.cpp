#include "AccessTokenClaims.h"

#include <gtest/gtest.h>

#include <vector>

#include "CryptoText.h"

namespace VarnelBase {

namespace {

/// A token in compact form with those claims and no signature.
std::string MakeToken(const std::string& claims) {
    return "e30." + EncodeBase64Url(claims) + ".";
}

} // namespace

TEST(AccessTokenClaims, GiveTheFirstPartOfTheFirstGroup) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {R"({"groups":["alpha","beta"]})", "alpha"},
        {R"({"groups":"/alpha/team"})", "alpha"},
        {R"({"groups":["alpha/team/"]})", "alpha"},
        {R"({"groups":["é>?~ \u0000"]})", std::string("é>?~ \0", 7)}};
    for (const auto& [claims, group] : cases) {
        EXPECT_EQ(ReadFirstGroup(MakeToken(claims), "groups"), group) << claims;
    }
    for (const char* claims :
         {R"({"groups":["//alpha"]})", R"({"groups":["","beta"]})", R"({"groups":[["alpha"]]})",
          R"({"groups":{"a":"alpha"}})", R"({"groups":[]})", R"({"groups":null})",
          R"({"Groups":["alpha"]})", R"(["groups"])", "{\"groups\":[\"\xff\"]}",
          R"({"groups":["alpha"]} x)", ""}) {
        EXPECT_EQ(ReadFirstGroup(MakeToken(claims), "groups"), "") << claims;
    }
    const std::string token = MakeToken(R"({"groups":["alpha"]} )");
    EXPECT_EQ(ReadFirstGroup(token, "groups"), "alpha");
    const std::string body = token.substr(4, token.size() - 5);
    for (const std::string& malformed :
         {std::string(), std::string("."), body, "e30." + body, token + ".", "e30." + body + "=.",
          "e30." + body + "\n.", "e30.+" + body + ".", "e30.A" + body + "."}) {
        EXPECT_EQ(ReadFirstGroup(malformed, "groups"), "") << malformed;
    }
    const std::string large = R"({"groups":["alpha"]})" + std::string(1 << 20, ' ');
    EXPECT_EQ(ReadFirstGroup(MakeToken(large), "groups"), "");
}

TEST(AccessTokenClaims, GiveALifetimeInNumbersOnly) {
    const TokenLifetime both = ReadTokenLifetime(MakeToken(R"({"iat":1e3,"exp":4102444800.5})"));
    EXPECT_EQ(both.issuedAt, 1000);
    EXPECT_EQ(both.expiry, 4102444800.5);
    for (const char* claims : {R"({"iat":"1","exp":true})", R"({"exp":null})", "7"}) {
        const TokenLifetime none = ReadTokenLifetime(MakeToken(claims));
        EXPECT_FALSE(none.issuedAt || none.expiry) << claims;
    }
}

} // namespace VarnelBase
