#include <execinfo.h>
#include <sys/mman.h>

#include <array>
#include <iostream>
#include <new>

#include "AllocationFaults.h"
#include "ApiConnector.h"
#include "ChildProcess.h"
#include "HostileFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

constexpr int EndedByJson = 70;
constexpr int EndedOtherwise = 71;

/// Ends the process, telling whether a destructor of the JSON library was at work. It allocates,
/// and so ends a program whose memory is exhausted.
[[noreturn]] void TellTermination() {
    HasAllocationFailed();
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), frames.size());
    char** names = backtrace_symbols(frames.data(), count);
    for (int i = 0; i < count; ++i) {
        if (std::string(names[i]).find("json_value7destroy") != std::string::npos) {
            _exit(EndedByJson);
        }
    }
    backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
    _exit(EndedOtherwise);
}

/// Something to do while memory runs out, from where `prepare` leaves things.
struct Work {
    std::string name;
    std::function<void()> prepare;
    std::function<json(ApiConnector&)> run;
    int status = 200; ///< of the server's answer
};

struct Progress {
    std::size_t work = 0;
    long allocation = 1;
    long failures = 0;
};

using AllocationTests = HostileFixture;

} // namespace

TEST_F(AllocationTests, MayFailOneByOne) {
    Set("VARNEL_AUTH_HOST", issuer);
    const TokenSet before{ExpiredToken, "before"};
    const TokenSet after{ValidToken, "after"};
    const auto use = [](const TokenSet& tokens) {
        return [tokens] { TokenStore().Store(tokens); };
    };
    const std::string answer = MakeProviderAnswer(ValidToken, "after").dump();
    std::vector<Work> works{
        {"construct", use(after), [](auto&) { return ApiConnector(), json(); }},
        {"Load", use(after), [](auto&) { return json(TokenStore().Load().accessToken); }},
        {"Store", use(before), [&](auto&) { return TokenStore().Store(after), json(); }},
        {"Clear", use(after), [](auto&) { return TokenStore().Clear(), json(); }},
        {"refresh", use(before), [](auto&) { return json(AuthHandler().GetApiKey()); }},
        {"group", use(after), [&](auto&) { return json(AuthHandler().GetFirstGroup(ValidToken)); }},
    };
    for (const Operation& operation : AllOperations) {
        const bool isCreation =
            operation.gate == Gate::Exactly201 || operation.gate == Gate::Execution;
        works.push_back({operation.request, [] {}, operation.call, isCreation ? 201 : 200});
    }
    auto* shared =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& progress = *new (shared) Progress;
    const auto failEach = [&](const Work& work) {
        std::set_terminate(TellTermination);
        std::cout.rdbuf(nullptr);
        ApiConnector connector;
        work.prepare();
        const json expected = work.run(connector);
        for (bool hasFailed = true; hasFailed; ++progress.allocation) {
            work.prepare();
            json result;
            FailAllocation(progress.allocation);
            try {
                result = work.run(connector);
            } catch (const std::bad_alloc&) {}
            hasFailed = HasAllocationFailed();
            progress.failures += hasFailed ? 1 : 0;
            const TokenSet stored = TokenStore().Load();
            const auto isStored = [&stored](const TokenSet& tokens) {
                return stored.accessToken == tokens.accessToken &&
                       stored.refreshToken == tokens.refreshToken;
            };
            const bool isWhole = isStored(before) || isStored(after);
            if (!isWhole && work.name != "Clear") { return 1; }
            if (result != json() && result != expected) { return 2; }
        }
        return 0;
    };
    long terminations = 0;
    for (const Work& work : works) {
        server.answer = MakeAnswer(work.status, answer);
        progress.allocation = 1;
        int status = EndedByJson;
        for (; status == EndedByJson; ++progress.allocation) {
            status = AwaitChild(StartChild([&] { return failEach(work); }));
            terminations += status == EndedByJson ? 1 : 0;
        }
        EXPECT_EQ(status, 0) << work.name << ", allocation " << progress.allocation;
    }
    EXPECT_GT(progress.failures, 1000);
    std::cout << progress.failures << " allocations failed, " << terminations
              << " of them in a destructor of the JSON library, which ends the program\n";
}

} // namespace VarnelBase
