#include "ErrorDocument.h"

#include <initializer_list>

namespace VarnelBase {

namespace {

using nlohmann::json;

/// The first member of these that is a text or a number.
std::string ReadMember(const json& object, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        const auto member = object.find(name);
        if (member == object.end()) { continue; }
        if (member->is_string()) { return member->get<std::string>(); }
        if (member->is_number()) { return member->dump(); }
    }
    return {};
}

} // namespace

ErrorWords ReadErrorDocument(const json& document) {
    if (!document.is_object()) { return {}; }
    const auto error = document.find("error");
    const json& described = error != document.end() && error->is_object() ? *error : document;
    return {ReadMember(described, {"code", "error", "type"}),
            ReadMember(described, {"message", "error_description", "detail", "title"})};
}

} // namespace VarnelBase
