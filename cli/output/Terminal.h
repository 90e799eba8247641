#pragma once

#include <cstddef>
#include <string>

namespace VarnelBase {

/// Whether a file descriptor is a terminal.
bool IsTerminal(int descriptor);

/// Columns of the terminal; 80 when it does not tell.
std::size_t ReadTerminalWidth(int descriptor);

/// The text in bold on a terminal that knows how (TERM is not "dumb") unless NO_COLOR is set.
std::string Emphasise(int descriptor, const std::string& text);

} // namespace VarnelBase
