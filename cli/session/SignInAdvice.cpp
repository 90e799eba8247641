#include "session/SignInAdvice.h"

#include <EnvironmentVariable.h>
#include <SignInNeeded.h>

#include "session/Verdict.h"

namespace VarnelBase {

std::string DescribeMissingToken(const std::runtime_error& error) {
    const bool isHelpful = dynamic_cast<const SignInNeeded*>(&error) != nullptr ||
                           !ReadVariable("VARNEL_TOKEN").empty();
    return std::string(error.what()) + (isHelpful ? " (" + AdviseSignIn() + ")" : "");
}

} // namespace VarnelBase
