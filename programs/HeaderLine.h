#pragma once

#include <string>
#include <utility>

namespace VarnelBase {

/// A header's name and value, in the order of arrival or sending.
using HeaderLine = std::pair<std::string, std::string>;

} // namespace VarnelBase
