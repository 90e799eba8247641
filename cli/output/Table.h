#pragma once

#include <JsonView.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace VarnelBase {

/// A value as text for people: a string bare, null as nothing, everything else as compact JSON.
std::string DescribeValue(const JsonView& value);

/// The list in a document: the document itself when it is an array, else its member "items" when
/// that is an array; none: the document is not a list.
std::optional<JsonView> FindItems(const JsonView& document);

struct Table {
    std::vector<std::string> lines;
    bool hasHeading = false;          ///< the first line names the columns
    std::vector<std::string> omitted; ///< columns for which there was no room
};

/// A list as a table with a column for each member, whose identifiers are whole whatever the width;
/// any other object as a line for each member, whole as well.
///
/// @param document what a service answered, whatever it is
/// @param columns  what the lines may take; 0: as much as they need
Table MakeTable(const JsonView& document, std::size_t columns);

} // namespace VarnelBase
