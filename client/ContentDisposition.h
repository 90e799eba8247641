#pragma once

#include <string>

namespace VarnelBase {

/// The file name in a Content-Disposition header (RFC 6266), "filename*" (RFC 8187) before
/// "filename", made safe: only what follows the last "/" or "\" counts; characters that are not
/// printable, and those that some systems refuse, become "_"; leading dots are removed, so that the
/// file is not hidden. The name is UTF-8 of at most 200 bytes.
///
/// @return empty when nothing is left
std::string ReadFileName(const std::string& header);

} // namespace VarnelBase
