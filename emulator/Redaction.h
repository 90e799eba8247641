#pragma once

#include <set>
#include <string>
#include <vector>

#include "HttpRecord.h"

namespace VarnelBase::Emulation {

/// Takes secrets out of what goes into a file: credentials in headers, wherever their text appears,
/// and the values of members, query parameters and form fields with certain names.
class Redaction {
public:
    /// @param names added to those that are always secret ("password", "access_token", ...)
    explicit Redaction(const std::vector<std::string>& names = {});

    void Redact(Request& request) const;
    void Redact(RecordedExchange& exchange) const;
    void Redact(json& document) const;

private:
    std::string RedactBody(const std::string& body) const;
    std::string RedactFields(const std::string& fields) const;

    std::set<std::string> secretNames; ///< in small letters
};

} // namespace VarnelBase::Emulation
