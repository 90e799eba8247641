#pragma once

#include <string>
#include <utility>
#include <vector>

#include "SettingSources.h"

namespace VarnelBase {

/// The local ports for a browser's callback, as ranges of a first and a last port. Empty: any free
/// port.
using PortRanges = std::vector<std::pair<int, int>>;

/// Ports and ranges of them, separated by commas: "53682,53690-53695".
///
/// @throws std::runtime_error naming the setting when the text is malformed
PortRanges ParsePortRanges(const Setting& setting);

/// The text that `ParsePortRanges` reads.
std::string DescribePortRanges(const PortRanges& ranges);

} // namespace VarnelBase
