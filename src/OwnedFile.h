#pragma once

#include <string>

namespace VarnelBase {

/// Creates a file that names its creator, unless it exists: of all processes that try, one
/// succeeds. First removes a file that is older than two minutes, or whose creator is known to have
/// ended.
///
/// @return whether this process has created it
bool CreateOwnedFile(const std::string& path);

/// Removes the file if this process created it.
void RemoveOwnedFile(const std::string& path);

} // namespace VarnelBase
