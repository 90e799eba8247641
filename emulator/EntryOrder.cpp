#include "EntryOrder.h"

#include <algorithm>

namespace VarnelBase::Emulation {

void EntryOrder::Append(const std::string& list, std::int64_t number) {
    lists[list].push_back(number);
}

void EntryOrder::Remove(const std::string& list, std::int64_t number) {
    const auto found = lists.find(list);
    if (found == lists.end()) { return; }
    std::vector<std::int64_t>& numbers = found->second;
    const auto position = std::lower_bound(numbers.begin(), numbers.end(), number);
    if (position != numbers.end() && *position == number) { numbers.erase(position); }
    if (numbers.empty()) { lists.erase(found); }
}

std::int64_t EntryOrder::Count(const std::string& list) const {
    const auto found = lists.find(list);
    return found == lists.end() ? 0 : static_cast<std::int64_t>(found->second.size());
}

std::vector<std::int64_t> EntryOrder::GetPage(const std::string& list, std::int64_t limit,
                                              std::int64_t offset) const {
    const auto found = lists.find(list);
    const std::int64_t begin = std::min(offset, Count(list));
    const std::int64_t end = std::min(begin + limit, Count(list));
    if (begin == end) { return {}; }
    return {found->second.begin() + begin, found->second.begin() + end};
}

} // namespace VarnelBase::Emulation
