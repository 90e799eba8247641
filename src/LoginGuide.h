#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace VarnelBase {

/// What a person types on another device to let this program in (RFC 8628, section 3.2).
struct DeviceCode {
    std::string address;              ///< where to type the code
    std::string completeAddress;      ///< the same with the code in it; empty: none is known
    std::string code;                 ///< what to type there
    std::chrono::seconds lifetime{0}; ///< of the code
};

/// How a program wants a person to sign in, and what it does to tell them: the library itself
/// prints nothing. A function that is not set is not called.
struct LoginGuide {
    /// The person may open this address in a browser of this machine. The library waits for the
    /// browser from now on, whatever becomes of the command that opens one.
    std::function<void(const std::string& address)> showAddress;

    /// The person may use this code. The library waits for that from now on. Without this function
    /// nobody can sign in on another device.
    std::function<void(const DeviceCode& code)> showCode;

    /// The new tokens could not be stored, for this reason: this process uses them, others do not
    /// see them. A renewal may be the cause as well as a login.
    std::function<void(const std::string& reason)> tellUnstored;

    bool isOnDevice = false;  ///< sign in on another device
    bool isOtherUser = false; ///< ask who signs in, even if the provider knows somebody
};

/// Guides the logins of this thread while it exists: `ApiConnector::Login`, `AuthHandler::Login`
/// and `AuthHandler::Relogin`. A later one takes its place until it has gone.
class GuidedLogin {
public:
    /// @param loginGuide its functions are called in this thread, within the operations
    explicit GuidedLogin(LoginGuide loginGuide);
    ~GuidedLogin(); ///< leaves logins to the guide before it, if there was one
    GuidedLogin(const GuidedLogin&) = delete;
    GuidedLogin& operator=(const GuidedLogin&) = delete;

    /// The guide of this thread's logins; one that does nothing where none was given.
    static const LoginGuide& GetGuide();

private:
    LoginGuide guide;
    const GuidedLogin* outer;
};

} // namespace VarnelBase
