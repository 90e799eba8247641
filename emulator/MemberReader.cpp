#include "MemberReader.h"

#include <UtcTime.h>

namespace VarnelBase::Emulation {

namespace {

std::string WriteRange(const std::string& kind, const std::string& min, const std::string& max) {
    return "must be " + kind + " from " + min + " to " + max;
}

} // namespace

MemberReader::MemberReader(const json& members, std::string where)
    : object(members), prefix(std::move(where)) {
    if (!object.is_object()) {
        throw Refusal(422, "invalid",
                      (prefix.empty() ? "the body" : prefix) + " must be an object");
    }
    if (!prefix.empty()) { prefix += "."; }
}

const json& MemberReader::Find(const std::string& name) {
    static const json missing;
    known.insert(name);
    const auto found = object.find(name);
    return found == object.end() ? missing : *found;
}

bool MemberReader::IsGiven(const std::string& name) {
    known.insert(name);
    return object.contains(name);
}

std::string MemberReader::ReadText(const std::string& name) {
    const json& member = Find(name);
    if (!member.is_string() || member.get_ref<const std::string&>().empty()) {
        Refuse(name, "must be a non-empty string");
    }
    return member.get<std::string>();
}

std::string MemberReader::ReadText(const std::string& name, const std::string& fallback) {
    return Has(name) ? ReadText(name) : fallback;
}

double MemberReader::ReadNumber(const std::string& name, double fallback, double min, double max) {
    const json& member = Find(name);
    if (member.is_null()) { return fallback; }
    const double value = member.is_number() ? member.get<double>() : min - 1;
    if (value < min || value > max) {
        Refuse(name, WriteRange("a number", json(min).dump(), json(max).dump()));
    }
    return value;
}

std::int64_t MemberReader::ReadInteger(const std::string& name, std::int64_t fallback,
                                       std::int64_t min, std::int64_t max) {
    const json& member = Find(name);
    if (member.is_null()) { return fallback; }
    // An unsigned number above the signed range would come out negative.
    const bool isReadable =
        member.is_number_integer() &&
        (!member.is_number_unsigned() || member.get<std::uint64_t>() <= std::uint64_t{INT64_MAX});
    const std::int64_t value = isReadable ? member.get<std::int64_t>() : 0;
    if (!isReadable || value < min || value > max) {
        Refuse(name, WriteRange("a whole number", std::to_string(min), std::to_string(max)));
    }
    return value;
}

std::int64_t MemberReader::ReadTime(const std::string& name, std::int64_t fallback) {
    if (!Has(name)) { return fallback; }
    const auto time = ParseUtcTime(ReadText(name));
    if (!time) { Refuse(name, "must be a time such as 2025-01-31T12:00:00Z"); }
    return *time;
}

const json& MemberReader::ReadArray(const std::string& name) {
    static const json empty = json::array();
    const json& member = Find(name);
    if (member.is_null()) { return empty; }
    if (!member.is_array()) { Refuse(name, "must be an array"); }
    return member;
}

void MemberReader::RefuseOthers() const {
    for (const auto& member : object.items()) {
        if (known.count(member.key()) == 0) { Refuse(member.key(), "is not known"); }
    }
}

void MemberReader::RefuseDocument(const std::string& reason) const {
    throw Refusal(422, "invalid", prefix.substr(0, prefix.find("._local.")) + ": " + reason);
}

void MemberReader::Refuse(const std::string& name, const std::string& reason) const {
    throw Refusal(422, "invalid", prefix + name + ": " + reason);
}

} // namespace VarnelBase::Emulation
