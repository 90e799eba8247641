#pragma once

#include <string>

namespace VarnelBase {

/// Creates a file that says who has created it, unless it exists: of all processes that try, one
/// succeeds. A file whose creator has ended, as far as that can be told from here, or that is older
/// than two minutes is removed first.
///
/// @return whether it is this process's now
bool CreateOwnedFile(const std::string& path);

/// Removes such a file if this process has created it.
void RemoveOwnedFile(const std::string& path);

} // namespace VarnelBase
