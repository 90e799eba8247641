// The token file: a pair that may be sent, or none.
#include <cstdlib>

#include "TemporaryHome.h"
#include "TokenFile.h"
#include "TokenStore.h"

namespace {

/// The token file, put there by the store itself.
std::string MakeTokenFile() {
    VarnelBase::TokenStore().Store({"a", "r"});
    const VarnelBase::EnvConfig config;
    const auto identity = VarnelBase::ReadIdentitySettings(config.GetEnvironment());
    return VarnelBase::FindTokenFile(config, identity).GetPath();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryHome home;
    static const std::string file = MakeTokenFile();
    TemporaryHome::Write(file, data, size);
    const VarnelBase::TokenSet tokens = VarnelBase::TokenStore().Load();
    const bool isPair = !tokens.accessToken.empty() || tokens.refreshToken.empty();
    if (!isPair || !VarnelBase::IsAccessTokenText(tokens.accessToken) ||
        !VarnelBase::IsRefreshTokenText(tokens.refreshToken)) {
        std::abort();
    }
    return 0;
}
