#pragma once

#include <nlohmann/json.hpp>

#include <string>

#include "session/Session.h"

namespace VarnelBase {

/// Checks that an identifier cannot change the request, which holds it as it stands.
///
/// @param name what the argument is called
/// @throws CommandError naming the argument, unless --raw-id was given
void RequirePlainIdentifier(const Arguments& arguments, const std::string& name,
                            const std::string& identifier);

/// @throws CommandError naming the argument and the offset of the first byte that is not UTF-8
void RequireUtf8(const std::string& name, const std::string& text);

/// Reads the document that --data gives: JSON itself, "@" and the name of a file that holds it, or
/// "-" for standard input.
///
/// @throws CommandError when it cannot be read, and with the offset where it is not UTF-8 or JSON
nlohmann::json ReadData(const std::string& argument);

} // namespace VarnelBase
