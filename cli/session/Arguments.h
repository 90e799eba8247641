#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelBase {

/// Identifiers on a command line, which become parts of a request's path.
struct Identifiers {
    std::map<std::string, std::string> values; ///< by the names of their arguments: SIMULATION
    bool isRaw = false;

    /// A target with the identifiers in it: "/users/{USER}" becomes "/users/usr-1".
    ///
    /// @throws CommandError, naming the argument, when one would change the request, unless
    ///         --raw-id was given
    std::string Fill(const std::string& target) const;

    /// A part of a request's address that a text becomes.
    ///
    /// @param name what the argument is called
    std::string Escape(const std::string& name, const std::string& text) const;
};

/// The service's own page that shows a simulation.
constexpr const char* SimulationPage = "/simulations/{SIMULATION}";

/// The path of an operation of the service, with its arguments as they are called on the command
/// line: "/users/{USER}".
std::string GetPath(std::string_view operation);

/// The names of the arguments in a target: "USER" of "/users/{USER}".
std::vector<std::string> ListArguments(const std::string& target);

/// @throws CommandError naming the argument and the offset of the first byte that is not UTF-8
void RequireUtf8(const std::string& name, const std::string& text);

/// Reads the document that --data gives: JSON itself, "@" and the name of a file that holds it, or
/// "-" for standard input.
///
/// @return the bytes as they are
/// @throws CommandError when they cannot be read, and with the offset where they are not UTF-8 or
///         JSON
std::string ReadData(const std::string& argument);

} // namespace VarnelBase
