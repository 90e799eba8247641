#include "AccessRules.h"

#include <AccessTokenClaims.h>

namespace VarnelBase::Emulation {

std::optional<Answer> AccessRules::Refuse(const Request& request) const {
    if (access == EmulatorAccess::Off) { return std::nullopt; }

    const std::string scheme = "Bearer ";
    const std::string header = request.FindHeader("Authorization");
    const std::string sent = header.rfind(scheme, 0) == 0 ? header.substr(scheme.size()) : "";
    if (sent.empty() || (!token.empty() && sent != token)) {
        Answer answer = MakeErrorAnswer(401, "unauthorized",
                                        sent.empty() ? "the request carries no bearer token"
                                                     : "the bearer token is not the expected one");
        answer.headers.emplace_back("WWW-Authenticate", "Bearer");
        return answer;
    }
    if (access == EmulatorAccess::Any) { return std::nullopt; }

    const std::string group = ReadFirstGroup(sent, "groups");
    const std::string host = request.FindHeader("Host");
    const std::string label = host.substr(0, host.find('.'));
    if (group.empty() || label != group) {
        return MakeErrorAnswer(403, "forbidden",
                               "the token's first group is \"" + group +
                                   "\", but the request went to the host \"" + host + "\"");
    }
    return std::nullopt;
}

} // namespace VarnelBase::Emulation
