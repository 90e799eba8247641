#include "trace/TracedExchange.h"

#include <AsciiCase.h>

namespace VarnelBase {

std::string HttpHead::Find(const std::string& name) const {
    for (const auto& header : headers) {
        if (LowerCase(header.first) == LowerCase(name)) { return header.second; }
    }
    return "";
}

void HttpHead::Replace(const std::string& name, const std::string& value) {
    for (auto& header : headers) {
        if (LowerCase(header.first) == LowerCase(name)) { header.second = value; }
    }
}

std::string HttpHead::FindBearerToken() const {
    const std::string value = Find("Authorization");
    const std::string scheme = "Bearer ";
    return value.rfind(scheme, 0) == 0 ? value.substr(scheme.size()) : "";
}

} // namespace VarnelBase
