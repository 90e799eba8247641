#include <iostream>

#include "AllocationFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

using Allocations = AllocationFixture;

/// Something to do while memory runs out.
struct Work {
    std::string name;
    const char* token; ///< the stored one, access token and refresh token alike
    std::function<json(ApiConnector&)> run;
    int status = 200; ///< of the server's answer
};

} // namespace

TEST_F(Allocations, MayFailOneByOne) {
    Set("VARNEL_AUTH_HOST", issuer);
    const TokenSet renewed{ValidToken, ValidToken};
    std::vector<Work> works{
        {"construct", ValidToken, [](auto&) { return ApiConnector(), json(); }},
        {"Load", ValidToken, [](auto&) { return json(TokenStore().Load().accessToken); }},
        {"Store", ExpiredToken, [&](auto&) { return TokenStore().Store(renewed), json(); }},
        {"Clear", ValidToken, [](auto&) { return TokenStore().Clear(), json(); }},
        {"refresh", ExpiredToken, [](auto&) { return json(AuthHandler().GetApiKey()); }},
        {"group", ValidToken, [](auto&) { return json(AuthHandler().GetFirstGroup(ValidToken)); }},
    };
    for (const Operation& operation : AllOperations) {
        const bool isCreation = ExpectedResult(operation.gate, 201, "1") == 1;
        works.push_back({operation.request, ValidToken, operation.call, isCreation ? 201 : 200});
    }
    const auto failEach = [&](const Work& work) {
        std::cout.rdbuf(nullptr);
        ApiConnector connector;
        const auto store = [&] { TokenStore().Store({work.token, work.token}); };
        std::filesystem::remove_all(directory); // with the files that a process before left behind
        store();
        const json expected = work.run(connector);
        store();
        json result;
        const auto run = [&] {
            result = json();
            result = work.run(connector);
        };
        while (FailNext(run)) {
            const TokenSet tokens = TokenStore().Load();
            const bool isWhole = tokens.accessToken == tokens.refreshToken &&
                                 (!tokens.accessToken.empty() || work.name == "Clear");
            if (!isWhole || (result != json() && result != expected)) { return 2; }
            if (tokens.accessToken != work.token) { store(); }
        }
        return 0;
    };
    for (const Work& work : works) {
        server.Answer(MakeAnswer(work.status, MakeProviderDocument(ValidToken, ValidToken).dump()));
        EXPECT_EQ(RunInChildren([&] { return failEach(work); }), 0)
            << work.name << ", before allocation " << counts.number;
    }
    EXPECT_GT(counts.failures, 1000);
    std::printf(
        "%ld allocations failed; %ld more did in a destructor of the JSON library, which "
        "ended the program\n",
        counts.failures, terminations);
}

TEST_F(Allocations, LeaveNoTokenWithTheExpiryOfAnother) {
    const std::string longer = ValidToken + std::string(100, 'x');
    const auto failEach = [&] {
        for (bool hasFailed = true; hasFailed;) {
            AuthHandler auth;
            auth.IsTokenExpired(ExpiredToken);
            hasFailed = FailNext([&] { auth.IsTokenExpired(longer); });
            if (!auth.IsTokenExpired(ExpiredToken)) { return 1; }
        }
        return 0;
    };
    EXPECT_EQ(RunInChildren(failEach), 0);
}

} // namespace VarnelBase
