#pragma once

#include <cstddef>
#include <string>

namespace VarnelBase {

/// Offset of the first byte that is not part of well-formed UTF-8; npos: the whole text is.
std::size_t FindInvalidUtf8(const std::string& text);

/// Columns that a text takes on a terminal: two for wide characters, none for combining ones.
std::size_t MeasureWidth(const std::string& text);

/// The text, or as much of its beginning as fits into the columns, ended by "…".
std::string CutToWidth(const std::string& text, std::size_t columns);

/// The text with "�" for everything that is not a printable character, and for what changes the
/// direction of writing, so that what a service sends can neither steer nor deceive.
std::string MakePrintable(const std::string& text);

/// The same for a text of several lines, which stay lines.
std::string MakePrintableLines(const std::string& text);

/// A JSON text with the same characters escaped, which leaves its meaning as it is. Line breaks
/// stay.
std::string EscapeUnprintable(const std::string& text);

} // namespace VarnelBase
