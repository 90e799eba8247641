#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace VarnelBase {

/// The identifiers that were there, in sixteen bytes each: a list may have a great many.
class SeenIdentifiers {
public:
    /// Notes those of a page, and tells of each whether it is new.
    std::vector<bool> Note(const std::vector<std::string>& page);

private:
    using Print = std::pair<std::size_t, std::size_t>;
    std::hash<std::string> hash;
    std::vector<Print> seen; ///< sorted
};

} // namespace VarnelBase
