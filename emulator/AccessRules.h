#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Emulator.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

/// Who may ask, and what a page in a browser may do.
///
/// A page of any site can send requests to this machine, and a name of its own can be made to lead
/// here. So the host that a request names must be this emulator's, and what comes from a page of
/// another origin may neither control the emulator nor change its state.
class AccessRules {
public:
    /// @throws std::invalid_argument naming an invalid origin
    explicit AccessRules(const EmulatorOptions& options);

    /// What opens the paths below /_local; empty: nothing is asked for.
    const std::string& GetLocalKey() const { return localKey; }

    /// The refusal, or the answer to a browser's question in advance; none: the request may go on
    /// to CheckCredentials.
    std::optional<Answer> CheckOrigin(const Request& request) const;

    /// The 401 or 403 of a request whose token or key is not good; none: it is let through.
    std::optional<Answer> CheckCredentials(const Request& request) const;

    /// Lets the pages that may do so read an answer.
    void AddOriginHeaders(const Request& request, Answer& answer) const;

private:
    bool IsOwnHost(const std::string& host) const;
    bool IsAllowedOrigin(const std::string& origin) const;
    Answer AnswerPreflight(const Request& request) const;
    std::optional<Answer> CheckToken(const Request& request) const;
    std::optional<Answer> CheckLocalKey(const Request& request) const;

    EmulatorAccess access;
    std::string token;
    std::string address;
    std::vector<std::string> hosts;
    std::vector<std::string> origins;
    std::string localKey;
};

/// Whether a request is for the paths that steer the emulator.
bool IsLocal(const Request& request);

} // namespace VarnelBase::Emulation
