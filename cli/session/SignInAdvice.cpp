#include "session/SignInAdvice.h"

#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <KnownSettings.h>
#include <SignInNeeded.h>

namespace VarnelBase {

std::string AdviseSignIn() {
    if (!ReadVariable(TokenVariable).empty()) { return "put another token into VARNEL_TOKEN"; }
    const bool hasProvider = !ReadIdentitySettings(EnvConfig().GetEnvironment()).authHost.empty();
    return hasProvider ? "sign in with: varnel login"
                       : "set VARNEL_TOKEN, or set authHost and sign in with: varnel login";
}

std::string AdviseForToken(const std::runtime_error& error) {
    const bool isHelpful = dynamic_cast<const SignInNeeded*>(&error) != nullptr ||
                           !ReadVariable(TokenVariable).empty();
    return isHelpful ? AdviseSignIn() : "";
}

std::string DescribeMissingToken(const std::runtime_error& error) {
    const std::string advice = AdviseForToken(error);
    return error.what() + (advice.empty() ? "" : " (" + advice + ")");
}

} // namespace VarnelBase
