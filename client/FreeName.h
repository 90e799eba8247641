#pragma once

#include <string>

namespace VarnelBase {

/// A hidden name for a file that is not complete yet, different in each call.
std::string MakeUnfinishedName();

/// Gives a file another name on the same file system, without ever replacing what has that name.
///
/// @return false with the reason in errno: EEXIST when the name is taken
bool TakeFreeName(const std::string& file, const std::string& name);

} // namespace VarnelBase
