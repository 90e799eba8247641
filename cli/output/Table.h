#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>

namespace VarnelBase {

/// A value as text for people: a string bare, null as nothing, everything else as compact JSON.
std::string DescribeValue(const nlohmann::json& value);

/// The entries of a list: the document itself when it is an array, else its member "items" when
/// that is an array; none: the document is no list.
const nlohmann::json* FindItems(const nlohmann::json& document);

/// A list as a table with a column for each member, any other object as a line for each member.
///
/// @param document what a service answered, whatever it is
/// @param columns  what the lines may take at most; 0: as much as they need
/// @param heading  puts the line with the members' names into its final shape
std::string FormatTable(const nlohmann::json& document, std::size_t columns,
                        std::string (*heading)(const std::string&));

} // namespace VarnelBase
