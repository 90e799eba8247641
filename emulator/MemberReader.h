#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Reads the members of an object and says which one cannot be used: every problem is a Refusal 422
/// that names it. A reader's user ends with RefuseOthers, so that a misspelt member is not silent.
class MemberReader {
public:
    /// @param where what messages call the object, "simulations[3]" say; empty for a whole body
    MemberReader(const json& members, std::string where);

    /// The member; null when it is missing.
    const json& Find(const std::string& name);
    bool Has(const std::string& name) { return !Find(name).is_null(); }
    /// Whether the member exists, as null maybe.
    bool IsGiven(const std::string& name);

    /// A text that is not empty.
    std::string ReadText(const std::string& name);
    std::string ReadText(const std::string& name, const std::string& fallback);
    double ReadNumber(const std::string& name, double fallback, double min, double max);
    std::int64_t ReadInteger(const std::string& name, std::int64_t fallback, std::int64_t min,
                             std::int64_t max);
    /// A time in milliseconds since 1970, written as RFC 3339 has it, in UTC.
    std::int64_t ReadTime(const std::string& name, std::int64_t fallback);

    /// The array's elements; none when it is missing.
    const json& ReadArray(const std::string& name);

    /// Refuses members that were not read.
    void RefuseOthers() const;

    /// Refuses the object as a whole.
    [[noreturn]] void RefuseDocument(const std::string& reason) const;
    [[noreturn]] void Refuse(const std::string& name, const std::string& reason) const;

private:
    const json& object;
    std::string prefix;
    std::set<std::string> known;
};

} // namespace VarnelBase::Emulation
