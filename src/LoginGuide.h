#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace VarnelBase {

/// What a person types on another device to let this program in (RFC 8628, section 3.2).
struct DeviceCode {
    std::string address;              ///< where to type the code
    std::string completeAddress;      ///< the same, with the code in it; empty if unknown
    std::string code;                 ///< what to type there
    std::chrono::seconds lifetime{0}; ///< how long the code works
};

/// How a person is to sign in, and functions of your program that tell them what to do: the library
/// itself prints nothing. A function that is not set is not called.
struct LoginGuide {
    /// Show the person this address, to be opened in a browser on this machine. From now on the
    /// library waits for the browser, even if the command that opens one fails.
    std::function<void(const std::string& address)> showAddress;

    /// Show the person this code. From now on the library waits until it is used or expires.
    /// Without this function nobody can sign in on another device.
    std::function<void(const DeviceCode& code)> showCode;

    /// The new tokens of a login or a refresh could not be stored, for this reason. This process
    /// uses them; others cannot.
    std::function<void(const std::string& reason)> tellUnstored;

    bool isOnDevice = false;  ///< sign in on another device
    bool isOtherUser = false; ///< ask who signs in, even if the provider remembers somebody
};

/// While this object exists, its guide serves the logins of this thread: `ApiConnector::Login`,
/// `AuthHandler::Login` and `AuthHandler::Relogin`. Of several objects the newest serves.
class GuidedLogin {
public:
    /// @param loginGuide its functions are called in this thread, during a login or a refresh
    explicit GuidedLogin(LoginGuide loginGuide);
    ~GuidedLogin(); ///< the guide that served before, if any, serves again
    GuidedLogin(const GuidedLogin&) = delete;
    GuidedLogin& operator=(const GuidedLogin&) = delete;

    /// The guide that serves this thread; without any, one that does nothing.
    static const LoginGuide& GetGuide();

private:
    LoginGuide guide;
    const GuidedLogin* outer;
};

} // namespace VarnelBase
