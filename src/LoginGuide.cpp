#include "LoginGuide.h"

namespace VarnelBase {

namespace {

thread_local const LoginGuide* currentGuide = nullptr;

} // namespace

GuidedLogin::GuidedLogin(const LoginGuide& loginGuide) {
    currentGuide = &loginGuide;
}

GuidedLogin::~GuidedLogin() {
    currentGuide = nullptr;
}

const LoginGuide& GetLoginGuide() {
    static const LoginGuide silence;
    return currentGuide == nullptr ? silence : *currentGuide;
}

} // namespace VarnelBase
