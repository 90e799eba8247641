#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace VarnelBase {

/// What a person types at another device to let this program in (RFC 8628, section 3.2).
struct DeviceCode {
    std::string address;         ///< where to type the code
    std::string completeAddress; ///< the same with the code in it; empty: there is none
    std::string code;
    std::chrono::seconds lifetime{0};
};

/// How a program wants a person to sign in, and what it does to tell them: the library itself
/// prints nothing. A function that is not set is not called.
struct LoginGuide {
    /// The browser may come from this address; it is waited for from now on, whatever becomes of
    /// the command that opens a browser.
    std::function<void(const std::string& address)> showAddress;

    /// The person may use this code; it is waited for from now on. Without this function there is
    /// no signing in at another device.
    std::function<void(const DeviceCode& code)> showCode;

    /// The tokens that have come hold for this process alone, for they could not be stored.
    std::function<void(const std::string& reason)> tellUnstored;

    bool isOnDevice = false;  ///< sign in at another device
    bool isOtherUser = false; ///< ask who signs in, even if the provider knows somebody
};

/// Guides the logins of this thread while it exists.
class GuidedLogin {
public:
    explicit GuidedLogin(const LoginGuide& loginGuide);
    ~GuidedLogin();
    GuidedLogin(const GuidedLogin&) = delete;
    GuidedLogin& operator=(const GuidedLogin&) = delete;
};

/// The guide of this thread's logins; one that does nothing where none was given.
const LoginGuide& GetLoginGuide();

} // namespace VarnelBase
