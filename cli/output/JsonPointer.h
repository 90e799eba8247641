#pragma once

#include <JsonView.h>

#include <optional>
#include <string>

namespace VarnelBase {

/// The value in a document that a JSON pointer (RFC 6901) leads to.
///
/// @throws CommandError when a member on the way occurs twice
std::optional<JsonView> FindPointed(const JsonView& document, const std::string& pointer);

} // namespace VarnelBase
