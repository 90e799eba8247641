#pragma once

#include <map>
#include <string>

namespace VarnelBase {

/// What the configuration file says, by "apiHost" (every environment) or
/// "environments.local.apiHost" (that one). Numbers and booleans are as text.
using ConfigEntries = std::map<std::string, std::string>;

/// The configuration file that applies: $VARNEL_CONFIG, else $XDG_CONFIG_HOME/varnel/config.json,
/// else ~/.config/varnel/config.json, whether it exists or not; empty without a home directory.
std::string LocateConfigFile();

/// Reads a configuration file: JSON (RFC 8259), in which comments may stand. No entries when it is
/// missing and $VARNEL_CONFIG does not name it.
///
/// @throws std::runtime_error "FILE:LINE:COLUMN: reason" when it is malformed or holds an unknown
///         key, and "FILE: reason" when it cannot be read or others can read the secrets in it
ConfigEntries ReadConfigFile(const std::string& path);

} // namespace VarnelBase
