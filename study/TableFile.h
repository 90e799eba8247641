#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace VarnelBase::Studies {

/// Reads named columns of a file with a point in each row: CSV (RFC 4180) with a header line,
/// or JSON objects, one per line, if the name ends in ".jsonl". A CSV field that is a JSON number,
/// true or false is read as such, every other one as a string.
///
/// @return the rows, each with a value for each of `columns`
/// @throws FileError naming the line and the column; std::runtime_error when the file cannot be
/// read
std::vector<std::vector<nlohmann::json>> ReadTableFile(const std::string& file,
                                                       const std::vector<std::string>& columns);

} // namespace VarnelBase::Studies
