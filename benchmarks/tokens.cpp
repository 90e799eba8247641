// What asking for the access token costs before every request, beside parsing the token once.
//
//     bench-tokens                  times; compare GetApiKey with ParseToken
//     strace -f bench-tokens quiet  a million calls between two writes: no system call there

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <string>

#include "AuthHandler.h"

namespace {

using nlohmann::json;

std::string EncodeBase64Url(const std::string& text) {
    std::string encoded(4 * ((text.size() + 2) / 3) + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                    reinterpret_cast<const unsigned char*>(text.data()),
                    static_cast<int>(text.size()));
    encoded.resize(encoded.find_first_of(std::string("=\0", 2)));
    return encoded;
}

/// The claims of a token of 1.3 KB in all, as a provider with realms and roles makes them.
std::string MakeClaims() {
    json claims = json::object({{"iat", 1700000000},
                                {"exp", 4000000000},
                                {"iss", "https://id.example.com/realms/main"},
                                {"groups", json::array({"alpha", "beta"})}});
    for (int i = 0; claims.dump().size() < 640; ++i) {
        claims["realm_access"]["roles"].push_back("simulation-role-" + std::to_string(i));
    }
    return claims.dump();
}

std::string MakeToken() {
    return EncodeBase64Url(R"({"alg":"RS256","typ":"JWT"})") + "." + EncodeBase64Url(MakeClaims()) +
           "." + std::string(342, 'x');
}

VarnelBase::AuthHandler& GetHandler() {
    setenv("VARNEL_TOKEN", MakeToken().c_str(), 1);
    static VarnelBase::AuthHandler handler;
    return handler;
}

void GetApiKey(benchmark::State& state) {
    VarnelBase::AuthHandler& handler = GetHandler();
    for (auto iteration : state) { benchmark::DoNotOptimize(handler.GetApiKey()); }
    state.counters["token bytes"] = static_cast<double>(handler.GetApiKey().size());
}
BENCHMARK(GetApiKey);

void ParseToken(benchmark::State& state) {
    const std::string claims = MakeClaims();
    for (auto iteration : state) { benchmark::DoNotOptimize(json::parse(claims)); }
}
BENCHMARK(ParseToken);

void CallQuietly() {
    VarnelBase::AuthHandler& handler = GetHandler();
    handler.GetApiKey();
    static_cast<void>(write(STDOUT_FILENO, "begin\n", 6));
    for (int i = 0; i < 1000000; ++i) { handler.GetApiKey(); }
    static_cast<void>(write(STDOUT_FILENO, "end\n", 4));
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string(arguments[1]) == "quiet") {
        CallQuietly();
        return 0;
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
