#pragma once

#include <string>

namespace VarnelBase {

// Changes to the text of a configuration file that can be read (JSON in which comments may stand),
// which leave everything else in it as it is, comments included.

/// The text with a member set to a value.
///
/// @param section the environment whose settings are meant; empty: those of every environment
/// @param value   as JSON
std::string SetConfigMember(std::string text, const std::string& section, const std::string& name,
                            const std::string& value);

/// The text without a member; the same text when there is none.
std::string RemoveConfigMember(std::string text, const std::string& section,
                               const std::string& name);

} // namespace VarnelBase
