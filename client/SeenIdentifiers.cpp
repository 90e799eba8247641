#include "SeenIdentifiers.h"

#include <algorithm>

namespace VarnelBase {

std::vector<bool> SeenIdentifiers::Note(const std::vector<std::string>& page) {
    std::vector<bool> isNew;
    std::vector<Print> added;
    for (const std::string& id : page) {
        const Print print{hash(id), hash(id + "\n")};
        const bool isSeen = std::binary_search(seen.begin(), seen.end(), print) ||
                            std::find(added.begin(), added.end(), print) != added.end();
        isNew.push_back(!isSeen);
        if (!isSeen) { added.push_back(print); }
    }
    std::sort(added.begin(), added.end());
    const auto middle = static_cast<std::ptrdiff_t>(seen.size());
    seen.insert(seen.end(), added.begin(), added.end());
    std::inplace_merge(seen.begin(), seen.begin() + middle, seen.end());
    return isNew;
}

} // namespace VarnelBase
