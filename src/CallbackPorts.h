#pragma once

#include <string>
#include <utility>
#include <vector>

#include "SettingSources.h"

namespace VarnelBase {

/// The ports of this machine that a browser may come back to: ranges, each with its first and last.
/// None: any free port will do.
using PortRanges = std::vector<std::pair<int, int>>;

/// Ports and ranges of them, separated by commas: "53682,53690-53695".
///
/// @throws std::runtime_error naming the setting when the text is something else
PortRanges ParsePortRanges(const Setting& setting);

/// The text that `ParsePortRanges` reads.
std::string DescribePortRanges(const PortRanges& ranges);

} // namespace VarnelBase
