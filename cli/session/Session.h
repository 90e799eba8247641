#pragma once

#include <ServiceClient.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "output/Output.h"

namespace VarnelBase {

/// What every command understands.
struct CommonOptions {
    std::string environment; ///< empty: the settings choose
    bool isOffline = false;
    bool isQuiet = false;
    OutputOptions output;
    std::optional<double> timeoutSeconds; ///< of each call; none: the client's own
    int retries = ClientOptions().maxAttempts - 1;
    bool isTls = false;
};

std::chrono::milliseconds MakeDuration(double seconds);

/// One run of the command: what is common to all commands, the way to the service and the ways to
/// the user.
class Session {
public:
    /// The client, which may be offline.
    ///
    /// @throws std::runtime_error when the settings cannot be used
    ServiceClient& GetClient();

    Outcome Send(const std::string& method, const std::string& target,
                 const std::optional<std::string>& body = {});

    /// Sends a GET request for a document.
    ///
    /// @return its text, which is valid JSON
    /// @throws CommandError when there is none, saying what the service said
    std::string Read(const std::string& target);

    /// From now on calls end after this time, all together.
    void LimitTime(double seconds);

    /// What is left of that time; an unlimited one does not end.
    std::chrono::milliseconds ComputeTimeLeft() const;

    /// Whether the service has seen a part of a request.
    bool HasSent() const { return hasSent; }

    /// Whether requests go over TLS: --tls or VARNEL_API_TLS.
    bool UsesTls() const;

    /// The address that a request's target has.
    std::string FormatUrl(const std::string& target);

    /// The address under which a browser shows what a path names.
    std::string FormatPageUrl(const std::string& path);

    /// Writes a result to standard output, as the options want it.
    void Print(const std::string& document) const { PrintDocument(document, options.output); }
    void Print(const json& document) const;

    /// Tells the user something on standard error, unless they want quiet.
    void Note(const std::string& text) const;

    CommonOptions options;
    std::function<void(Session&)> run; ///< the chosen command

private:
    /// @throws CommandError when the user has to sign in first
    std::string BuildHost();

    std::optional<ServiceClient> client;
    std::optional<std::chrono::steady_clock::time_point> deadline;
    bool hasSent = false;
};

/// Puts --environment and --offline into the process environment, where the library looks. Another
/// environment than the one that VARNEL_ENVIRONMENT names takes the variables out that belong to
/// that one.
///
/// @throws CommandError when there is no environment of that name
void ApplyEnvironmentOptions(const CommonOptions& options);

} // namespace VarnelBase
