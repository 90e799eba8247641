#pragma once

#include <iosfwd>

#include "Journal.h"

namespace VarnelBase::Studies {

/// Writes the points of a study as CSV (RFC 4180), with a header line: the point's number from 1,
/// its state, its execution, each parameter and each collected member under its pointer, and why it
/// failed. Strings are written without quotation marks, other values as JSON; unknown ones are
/// empty.
void WriteCsv(Journal& journal, std::ostream& output);

/// The same as JSON objects, one per line.
void WriteJsonLines(Journal& journal, std::ostream& output);

} // namespace VarnelBase::Studies
