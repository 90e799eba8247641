#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <unordered_map>

namespace VarnelBase::Studies {

using json = nlohmann::json;

/// What is wrong with a file, as "FILE:LINE: REASON".
class FileError : public std::runtime_error {
public:
    FileError(const std::string& file, std::size_t line, const std::string& reason)
        : std::runtime_error(file + ":" + std::to_string(line) + ": " + reason) {}
};

/// A document read from a file, and the line on which each of its values begins.
struct LocatedJson {
    std::string file;
    json document;
    std::unordered_map<std::string, std::size_t> lines; ///< by JSON pointer (RFC 6901)

    /// @throws FileError with the line of the value at `pointer`, or of the closest one around it
    [[noreturn]] void Refuse(const json::json_pointer& pointer, const std::string& reason) const;
};

/// Reads a JSON file (RFC 8259) in which comments, // and /* */, are allowed.
///
/// @throws FileError when it is not one JSON value or a member is given twice;
///         std::runtime_error when the file cannot be read
LocatedJson ReadLocatedJson(const std::string& file);

/// The bytes of a file, without a byte order mark at its beginning.
///
/// @throws std::runtime_error naming the file and the reason
std::string ReadWholeFile(const std::string& file);

} // namespace VarnelBase::Studies
