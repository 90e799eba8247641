#include <execinfo.h>
#include <sys/mman.h>

#include <array>
#include <iostream>
#include <new>

#include "HostileFixture.h"
#include "Operations.h"

namespace {

thread_local long allocationsLeft = 0; ///< 1: the next one fails, and no other

} // namespace

void* operator new(std::size_t size) {
    const bool isFailing = allocationsLeft > 0 && --allocationsLeft == 0;
    void* memory = isFailing ? nullptr : std::malloc(size == 0 ? 1 : size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace VarnelBase {

namespace {

using Allocations = HostileFixture;

constexpr int EndedByJson = 70;
constexpr int EndedOtherwise = 71;

/// Tells whether it was in a destructor of the JSON library, which allocates.
[[noreturn]] void TellTermination() {
    allocationsLeft = 0;
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), frames.size());
    char** names = backtrace_symbols(frames.data(), count);
    const bool isJson = std::any_of(names, names + count, [](const char* name) {
        return std::strstr(name, "json_value7destroy") != nullptr;
    });
    _exit(isJson ? EndedByJson : EndedOtherwise);
}

/// Something to do while memory runs out.
struct Work {
    std::string name;
    TokenSet stored; ///< before it
    std::function<json(ApiConnector&)> run;
    int status = 200; ///< of the server's answer
};

bool IsSame(const TokenSet& left, const TokenSet& right) {
    return left.accessToken == right.accessToken && left.refreshToken == right.refreshToken;
}

} // namespace

TEST_F(Allocations, MayFailOneByOne) {
    Set("VARNEL_AUTH_HOST", issuer);
    const TokenSet before{ExpiredToken, "before"};
    const TokenSet after{ValidToken, "after"};
    std::vector<Work> works{
        {"construct", after, [](auto&) { return ApiConnector(), json(); }},
        {"Load", after, [](auto&) { return json(TokenStore().Load().accessToken); }},
        {"Store", before, [&](auto&) { return TokenStore().Store(after), json(); }},
        {"Clear", after, [](auto&) { return TokenStore().Clear(), json(); }},
        {"refresh", before, [](auto&) { return json(AuthHandler().GetApiKey()); }},
        {"group", after, [](auto&) { return json(AuthHandler().GetFirstGroup(ValidToken)); }},
    };
    for (const Operation& operation : AllOperations) {
        const bool isCreation = ExpectedResult(operation.gate, 201, "1") == 1;
        works.push_back({operation.request, after, operation.call, isCreation ? 201 : 200});
    }
    auto* shared = static_cast<long*>(
        mmap(nullptr, sizeof(long[2]), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    long& number = shared[0]; ///< of the allocation that fails
    long& failures = shared[1];
    const auto failEach = [&](const Work& work) {
        std::set_terminate(TellTermination);
        std::cout.rdbuf(nullptr);
        ApiConnector connector;
        TokenStore().Store(work.stored);
        const json expected = work.run(connector);
        for (TokenSet tokens;; ++number, ++failures) {
            if (!IsSame(tokens, work.stored)) { TokenStore().Store(work.stored); }
            json result;
            allocationsLeft = number;
            try {
                result = work.run(connector);
            } catch (const std::bad_alloc&) {}
            if (std::exchange(allocationsLeft, 0) > 0) { return 0; }
            tokens = TokenStore().Load();
            const bool isWhole = IsSame(tokens, before) || IsSame(tokens, after);
            if (!isWhole && work.name != "Clear") { return 1; }
            if (result != json() && result != expected) { return 2; }
        }
    };
    long terminations = 0;
    for (const Work& work : works) {
        server.answer = MakeAnswer(work.status, MakeProviderDocument(ValidToken, "after").dump());
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

} // namespace VarnelBase
