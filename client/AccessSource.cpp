#include "AccessSource.h"

#include <algorithm>
#include <new>

#include "AuthHandler.h"
#include "IdentitySettings.h"
#include "IdentityUrl.h"

namespace VarnelBase {

namespace {

/// Runs what may throw anything but for want of a token or host.
template <typename Work>
auto FindOrExplain(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) { throw; } catch (const std::exception& error) {
        throw AccessError(error.what());
    }
}

void RequireHeaderText(const std::string& token) {
    const bool isText =
        std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < '\x7f'; });
    if (!isText) {
        throw AccessError(
            "tokenSource: the token contains a character that is not allowed in a header");
    }
}

} // namespace

AccessSource::AccessSource(std::optional<Environment> environment, const ClientOptions& options)
    : tokenSource(options.tokenSource), isSecure(options.tls), caFile(options.caFile) {
    if (options.host.empty()) {
        config = environment ? EnvConfig(*environment) : EnvConfig();
        configuredHost = config->GetApiHost();
        port = config->GetApiPort();
        if (isSecure && caFile.empty()) {
            caFile = ReadIdentitySettings(config->GetEnvironment()).caFile;
        }
    } else {
        configuredHost = options.host;
        port = options.port;
    }
    const bool isGrouped = config && config->GetEnvironment() != Environment::Local;
    if (!tokenSource || isGrouped) { auth = std::make_unique<AuthHandler>(); }
}

AccessSource::~AccessSource() = default;

std::shared_ptr<const Access> AccessSource::Find() {
    const std::lock_guard lock(mutex);
    std::string token =
        FindOrExplain([this] { return tokenSource ? tokenSource() : auth->GetApiKey(); });
    if (last && last->token == token) { return last; }

    if (tokenSource) { RequireHeaderText(token); }
    Access access;
    access.host = FindOrExplain([&] { return BuildHost(token); });
    if (access.host.empty()) { throw AccessError("the setting apiHost is empty"); }
    const bool isIpv6 = access.host.find(':') != std::string::npos;
    access.origin = (isSecure ? "https://" : "http://") +
                    (isIpv6 ? "[" + access.host + "]" : access.host) + ":" + std::to_string(port);
    access.isLoopback = IsLoopback(access.host);
    access.token = std::move(token);
    last = std::make_shared<const Access>(std::move(access));
    return last;
}

std::string AccessSource::Login() {
    if (tokenSource) {
        throw std::logic_error(
            "tokenSource: the program supplies the token, so the client cannot sign in");
    }
    const std::lock_guard lock(mutex);
    return auth->Login();
}

std::string AccessSource::BuildHost(const std::string& token) {
    if (!config || config->GetEnvironment() == Environment::Local) { return configuredHost; }
    const std::string group = auth->GetFirstGroup(token);
    return group.empty() ? configuredHost : group + "." + configuredHost;
}

} // namespace VarnelBase
