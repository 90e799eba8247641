#include "PageQuery.h"

#include <charconv>

namespace VarnelBase::Emulation {

namespace {

constexpr std::int64_t MaxLimit = 1000;

std::int64_t ReadQueryNumber(const Call& call, const std::string& name, std::int64_t fallback,
                             std::int64_t max) {
    if (call.query.count(name) == 0) { return fallback; }
    const std::string text = call.FindQuery(name);
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto outcome = std::from_chars(text.data(), end, number);
    const bool isNumber = outcome.ec == std::errc() && outcome.ptr == end;
    if (!isNumber || number < 0 || number > max) {
        throw Refusal(422, "invalid",
                      name + ": must be a whole number from 0 to " + std::to_string(max));
    }
    return number;
}

} // namespace

Page ReadPage(const Call& call) {
    Page page;
    page.limit = ReadQueryNumber(call, "limit", page.limit, MaxLimit);
    page.offset = ReadQueryNumber(call, "offset", page.offset, INT32_MAX);
    return page;
}

} // namespace VarnelBase::Emulation
