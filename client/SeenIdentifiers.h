#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace VarnelBase {

/// The identifiers that a list has had so far, in sixteen bytes each, since they may be many.
class SeenIdentifiers {
public:
    /// Notes the identifiers of a page and returns for each whether it is new.
    std::vector<bool> Note(const std::vector<std::string>& page);

private:
    using Print = std::pair<std::size_t, std::size_t>;
    std::hash<std::string> hash;
    std::vector<Print> seen; ///< sorted
};

} // namespace VarnelBase
