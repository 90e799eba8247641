#include "LoginAttempt.h"

#include <openssl/crypto.h>

#include <stdexcept>

#include "CryptoText.h"

namespace VarnelBase {

namespace {

bool IsSame(const std::string& left, const std::string& right) {
    return left.size() == right.size() &&
           CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

} // namespace

LoginAttempt::LoginAttempt(std::chrono::seconds limit)
    : deadline(std::chrono::steady_clock::now() + limit),
      state(MakeRandomText()),
      verifier(MakeRandomText()) {}

std::string LoginAttempt::BuildQuery(const std::string& clientId, const std::string& scope) const {
    return BuildForm({{"response_type", "code"},
                      {"client_id", clientId},
                      {"redirect_uri", redirectUri},
                      {"scope", scope},
                      {"state", state},
                      {"code_challenge", HashToBase64Url(verifier)},
                      {"code_challenge_method", "S256"}});
}

int LoginAttempt::Judge(const httplib::Request& request) const {
    const std::size_t authority = redirectUri.find("//") + 2;
    const std::size_t path = redirectUri.find('/', authority);
    if (request.target.substr(0, request.target.find('?')) != redirectUri.substr(path)) {
        return 404;
    }
    if (request.method != "GET") { return 405; }
    // Another name for this machine is a page that had its name resolved anew.
    const bool isForUs =
        request.get_header_value_count("Host") == 1 &&
        request.get_header_value("Host") == redirectUri.substr(authority, path - authority);
    const std::size_t codes = request.get_param_value_count("code");
    const std::size_t errors = request.get_param_value_count("error");
    const bool isOurs = isForUs && codes + errors == 1 &&
                        request.get_param_value_count("state") == 1 &&
                        IsSame(request.get_param_value("state"), state);
    return isOurs ? 200 : 400;
}

httplib::Request LoginAttempt::AddSecrets(const httplib::Request& request) const {
    httplib::Request callback = request;
    for (const auto& [name, value] :
         {std::pair("redirect_uri", redirectUri), std::pair("code_verifier", verifier)}) {
        callback.params.erase(name);
        callback.params.emplace(name, value);
    }
    return callback;
}

void LoginAttempt::CheckIssuer(const httplib::Request& request,
                               const IdentityProvider& provider) const {
    const std::size_t count = request.get_param_value_count("iss");
    if (count == 0 && !provider.announcesIssuer) { return; }
    if (count != 1 || request.get_param_value("iss") != provider.issuer) {
        throw std::runtime_error(provider.issuer + ": the browser came back from another issuer");
    }
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
