#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace VarnelBase::Emulation {

/// The row numbers of the entries of several lists, so that a page and a total cost the same
/// whatever their list's length and wherever the page begins.
class EntryOrder {
public:
    /// Adds an entry whose number is higher than all others of the list.
    void Append(const std::string& list, std::int64_t number);
    void Remove(const std::string& list, std::int64_t number);
    void RemoveList(const std::string& list) { lists.erase(list); }
    void Clear() { lists.clear(); }

    bool Has(const std::string& list) const { return lists.count(list) > 0; }
    std::int64_t Count(const std::string& list) const;
    std::vector<std::int64_t> GetPage(const std::string& list, std::int64_t limit,
                                      std::int64_t offset) const;

private:
    std::unordered_map<std::string, std::vector<std::int64_t>> lists;
};

} // namespace VarnelBase::Emulation
