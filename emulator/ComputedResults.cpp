#include "ComputedResults.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace VarnelBase::Emulation {

namespace {

std::optional<double> FindFactor(const json& factor, const json& data) {
    if (factor.is_number()) { return factor.get<double>(); }
    const json::json_pointer pointer(factor.get<std::string>());
    if (!data.contains(pointer) || !data.at(pointer).is_number()) { return std::nullopt; }
    return data.at(pointer).get<double>();
}

json Multiply(const json& factors, const json& data) {
    double product = 1;
    for (const json& factor : factors) {
        const auto value = FindFactor(factor, data);
        if (!value) { return json(); }
        product *= *value;
    }
    return product;
}

bool IsProduct(const json& value) {
    return value.is_object() && value.size() == 1 && value.contains("$product");
}

bool IsFactor(const json& factor) {
    if (factor.is_number()) { return true; }
    if (!factor.is_string()) { return false; }
    try {
        const json::json_pointer pointer(factor.get_ref<const std::string&>());
        return true;
    } catch (const json::parse_error&) { return false; }
}

} // namespace

std::string FindProductProblem(const json& document) {
    if (!document.is_object()) { return ""; }
    for (const json& member : document) {
        if (!IsProduct(member)) {
            std::string problem = FindProductProblem(member);
            if (!problem.empty()) { return problem; }
            continue;
        }
        const json& factors = member.at("$product");
        if (!factors.is_array() || !std::all_of(factors.begin(), factors.end(), IsFactor)) {
            return "\"$product\" must be an array of numbers and JSON Pointers";
        }
    }
    return "";
}

void ComputeProducts(json& document, const json& data) {
    for (auto member = document.begin(); member != document.end();) {
        bool isNothing = false;
        if (IsProduct(*member)) {
            *member = Multiply(member->at("$product"), data);
            isNothing = member->is_null();
        } else if (member->is_object() && !member->empty()) {
            ComputeProducts(*member, data);
            isNothing = member->empty();
        }
        member = isNothing ? document.erase(member) : std::next(member);
    }
}

} // namespace VarnelBase::Emulation
