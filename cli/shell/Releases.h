#pragma once

#include <string>

namespace VarnelBase {

/// The releases of this program and of everything that it is made of, a line each, for reports of
/// faults.
std::string ListReleases();

} // namespace VarnelBase
