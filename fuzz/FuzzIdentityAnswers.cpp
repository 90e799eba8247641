// Answers of an identity provider: its discovery document, and after a "T" those of the token
// endpoint. No message may quote what the provider sent.
#include <cstdint>
#include <cstdlib>

#include "IdentityProvider.h"
#include "PeerAnswer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool isToken = size > 0 && data[0] == 'T';
    SetPeerAnswer(std::string(data + (isToken ? 1 : 0), data + size), 200);
    try {
        if (isToken) {
            VarnelBase::IdentityProvider provider;
            provider.tokenEndpoint = VarnelBase::ParseIdentityUrl("http://127.0.0.1/token", "");
            VarnelBase::RequestTokens(provider, {"client", "secret", ""}, "grant_type=password");
        } else {
            VarnelBase::DiscoverProvider("http://127.0.0.1", "");
        }
    } catch (const std::runtime_error& error) {
        if (std::string(error.what()).find("S3CRET") != std::string::npos) { std::abort(); }
    }
    return 0;
}
