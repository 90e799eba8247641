#include <sys/mman.h>

#include <iostream>
#include <new>

#include "FailingAllocations.h"
#include "HostileFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

using Allocations = HostileFixture;

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
    auto* shared = static_cast<long*>(
        mmap(nullptr, sizeof(long[2]), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    long& number = shared[0]; ///< of the allocation that fails
    long& failures = shared[1];
    const auto failEach = [&](const Work& work) {
        std::set_terminate(TellTermination);
        std::cout.rdbuf(nullptr);
        ApiConnector connector;
        TokenStore().Store({work.token, work.token});
        const json expected = work.run(connector);
        for (TokenSet tokens;; ++number, ++failures) {
            if (tokens.accessToken != work.token) { TokenStore().Store({work.token, work.token}); }
            json result;
            allocationsLeft = number;
            try {
                result = work.run(connector);
            } catch (const std::bad_alloc&) {}
            if (std::exchange(allocationsLeft, 0) > 0) { return 0; }
            tokens = TokenStore().Load();
            const bool isWhole = tokens.accessToken == tokens.refreshToken &&
                                 (!tokens.accessToken.empty() || work.name == "Clear");
            if (!isWhole || (result != json() && result != expected)) { return 2; }
        }
    };
    long terminations = 0;
    for (const Work& work : works) {
        server.Answer(MakeAnswer(work.status, MakeProviderDocument(ValidToken, ValidToken).dump()));
        int status = EndedByJson;
        for (number = 1; status == EndedByJson; ++number) {
            status = AwaitChild(StartChild([&] { return failEach(work); }));
            terminations += status == EndedByJson ? 1 : 0;
        }
        EXPECT_EQ(status, 0) << work.name << ", allocation " << number;
    }
    EXPECT_GT(failures, 1000);
    std::printf(
        "%ld allocations failed; %ld more did in a destructor of the JSON library, which "
        "ended the program\n",
        failures, terminations);
}

TEST_F(Allocations, LeaveNoTokenWithTheExpiryOfAnother) {
    constexpr int HasFailed = 71;
    const std::string longer = ValidToken + std::string(100, 'x');
    int status = HasFailed;
    for (long number = 1; status == HasFailed || status == EndedByJson; ++number) {
        status = AwaitChild(StartChild([&] {
            std::set_terminate(TellTermination);
            AuthHandler auth;
            auth.IsTokenExpired(ExpiredToken);
            allocationsLeft = number;
            try {
                auth.IsTokenExpired(longer);
            } catch (const std::bad_alloc&) {}
            const bool hasFailed = std::exchange(allocationsLeft, 0) == 0;
            if (!auth.IsTokenExpired(ExpiredToken)) { return 1; }
            return hasFailed ? HasFailed : 0;
        }));
    }
    EXPECT_EQ(status, 0);
}

} // namespace VarnelBase
