#include "LoginAttempt.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <stdexcept>

#include "BrowserLauncher.h"
#include "CallbackServer.h"
#include "CryptoText.h"
#include "LoginGuide.h"
#include "PeerOwner.h"
#include "TokenRequests.h"

namespace VarnelBase {

namespace {

bool IsSame(const std::string& left, const std::string& right) {
    return left.size() == right.size() &&
           CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

/// "127.0.0.1:53682" of "http://127.0.0.1:53682/callback".
std::string FindAuthority(const std::string& address) {
    const std::size_t begin = address.find("//") + 2;
    return address.substr(begin, address.find('/', begin) - begin);
}

} // namespace

LoginAttempt::LoginAttempt(std::chrono::seconds timeout)
    : isOnDevice(GuidedLogin::GetGuide().isOnDevice),
      limit(timeout),
      deadline(std::chrono::steady_clock::now() + timeout),
      startPath("/" + MakeRandomText()),
      state(MakeRandomText()),
      verifier(MakeRandomText()),
      nonce(MakeRandomText()) {}

std::string LoginAttempt::BuildQuery(const SessionSettings& settings) const {
    return BuildForm({{"response_type", "code"},
                      {"client_id", settings.client.id},
                      {"redirect_uri", redirectUri},
                      {"scope", settings.identity.scope},
                      {"state", state},
                      {"nonce", nonce},
                      {"code_challenge", HashToBase64Url(verifier)},
                      {"code_challenge_method", "S256"}}) +
           (GuidedLogin::GetGuide().isOtherUser ? "&prompt=login" : "");
}

int LoginAttempt::Judge(const httplib::Request& request) const {
    const std::string authority = FindAuthority(redirectUri);
    const bool isStart = IsSame(request.target, startPath);
    if (!isStart && request.target.substr(0, request.target.find('?')) !=
                        redirectUri.substr(redirectUri.find(authority) + authority.size())) {
        return 404;
    }
    if (request.method != "GET") { return 405; }
    // Another name for this machine is a page that had its name resolved anew.
    const bool isForUs = request.get_header_value_count("Host") == 1 &&
                         request.get_header_value("Host") == authority;
    if (isStart) { return isForUs ? JudgeStart(request) : 400; }
    const std::size_t codes = request.get_param_value_count("code");
    const std::size_t errors = request.get_param_value_count("error");
    const bool isOurs = isForUs && codes + errors == 1 &&
                        request.get_param_value_count("state") == 1 &&
                        IsSame(request.get_param_value("state"), state);
    return isOurs ? 200 : 400;
}

int LoginAttempt::JudgeStart(const httplib::Request& request) const {
    const std::string authority = FindAuthority(redirectUri);
    const int port = std::stoi(authority.substr(authority.rfind(':') + 1));
    const auto owner = FindPeerOwner(request.remote_port, port);
    if (owner == geteuid()) { return 302; }
    // Root may carry a browser's connections here from another system on this machine.
    if (owner && *owner != 0) { return 403; }
    return isStarted ? 403 : 302;
}

httplib::Request LoginAttempt::AddSecrets(const httplib::Request& request) const {
    httplib::Request callback = request;
    for (const auto& [name, value] :
         {std::pair("redirect_uri", redirectUri), std::pair("code_verifier", verifier),
          std::pair("nonce", nonce)}) {
        callback.params.erase(name);
        callback.params.emplace(name, value);
    }
    return callback;
}

void LoginAttempt::RequireCode(const httplib::Request& request,
                               const IdentityProvider& provider) const {
    const std::size_t count = request.get_param_value_count("iss");
    const bool isAnonymous = count == 0 && !provider.announcesIssuer;
    if (!isAnonymous && (count != 1 || request.get_param_value("iss") != provider.issuer)) {
        throw std::runtime_error(provider.issuer + ": the browser came back from another issuer");
    }
    if (!request.has_param("error")) { return; }
    RequireConsent(provider.issuer, "signing in",
                   {NameErrorCode(request.get_param_value("error")),
                    CleanReason(request.get_param_value("error_description"), "")});
}

void LoginAttempt::Begin(const IdentityProvider& provider, const SessionSettings& settings,
                         const std::function<void(const std::string& url)>& openBrowser) {
    const LoginGuide& guide = GuidedLogin::GetGuide();
    authorizationUrl = BuildAuthorizationUrl(provider, BuildQuery(settings));
    try {
        WidenCallbackListener(listener);
        openBrowser("http://" + FindAuthority(redirectUri) + startPath);
    } catch (const NoBrowser&) {
        isOnDevice = guide.showCode && !provider.deviceEndpoint.empty();
        if (!isOnDevice && !guide.showAddress) { failure = std::current_exception(); }
    } catch (...) { failure = std::current_exception(); }
    isOver = isOnDevice || failure;
    if (!isOver && guide.showAddress) { guide.showAddress(authorizationUrl); }
}

void LoginAttempt::RequireSuccess(const std::string& issuer) const {
    if (failure) { std::rethrow_exception(failure); }
    if (isOver) { return; }
    throw std::runtime_error("signing in to " + issuer + ": nobody signed in within " +
                             std::to_string(limit.count()) + " s (VARNEL_LOGIN_TIMEOUT)");
}

void ShowPage(httplib::Response& response, int status, const std::string& title,
              const std::string& text) {
    response.status = status;
    response.set_header("Cache-Control", "no-store");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Content-Security-Policy", "default-src 'none'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_content(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + title +
            "</title></head><body><h1>" + title + "</h1><p>" + text + "</p></body></html>\n",
        "text/html; charset=utf-8");
}

} // namespace VarnelBase
