#pragma once

#include <string>

#include "Session.h"

namespace VarnelBase {

/// Reads an execution again and again, telling how far it is, and prints it once it has ended.
///
/// @param target where it can be read
/// @throws CommandError when it has failed, or cannot be read any more
void WatchUntilEnd(Session& session, const std::string& target);

} // namespace VarnelBase
