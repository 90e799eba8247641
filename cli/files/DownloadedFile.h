#pragma once

#include <string>

namespace VarnelBase {

/// The file name in a Content-Disposition header (RFC 6266), whose percent-encoding the HTTP
/// library has taken off already. Only what follows the last "/" or "\" counts, so that a service
/// cannot choose the directory.
///
/// @return empty when there is none that is fit for a file: hidden ones and unprintable ones are
/// not
std::string ReadFileName(const std::string& header);

/// Writes a file all at once: whoever opens the name finds all the bytes, or what was there before.
///
/// @param isReplacing whether a file of that name may be replaced
/// @throws CommandError naming the file; it is as it was then
void WriteFileWhole(const std::string& path, const std::string& bytes, bool isReplacing);

} // namespace VarnelBase
