#include "TokenVariable.h"

#include <stdexcept>

#include "EnvironmentVariable.h"
#include "KnownSettings.h"
#include "ProviderClock.h"
#include "SignInPlan.h"
#include "TokenFile.h"
#include "TokenLifetimes.h"

namespace VarnelBase {

std::string TakeTokenVariable(std::string& sessionToken) {
    std::string given = ReadVariable(TokenVariable);
    if (given.empty()) { return given; }
    if (!IsAccessTokenText(given)) {
        throw std::runtime_error("VARNEL_TOKEN: contains a character other than visible ASCII");
    }
    const auto now = static_cast<double>(ReadProviderClock());
    if (JudgeToken(given, ReadTokenLifetime(given), now) == TokenAge::Ended) {
        throw std::runtime_error("VARNEL_TOKEN: the token has expired");
    }
    sessionToken.clear();
    return given;
}

} // namespace VarnelBase
