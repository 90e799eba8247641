#include "LoginGuide.h"

#include <utility>

namespace VarnelBase {

namespace {

thread_local const GuidedLogin* currentLogin = nullptr;

} // namespace

GuidedLogin::GuidedLogin(LoginGuide loginGuide)
    : guide(std::move(loginGuide)), outer(std::exchange(currentLogin, this)) {}

GuidedLogin::~GuidedLogin() {
    currentLogin = outer;
}

const LoginGuide& GuidedLogin::GetGuide() {
    static const LoginGuide silence;
    return currentLogin == nullptr ? silence : currentLogin->guide;
}

} // namespace VarnelBase
