#pragma once

#include <map>
#include <string>

namespace VarnelBase {

/// The entries of the configuration file, named "apiHost" (every environment) or
/// "environments.local.apiHost" (one environment). Numbers and booleans are kept as text.
using ConfigEntries = std::map<std::string, std::string>;

/// The configuration file that applies: $VARNEL_CONFIG, else $XDG_CONFIG_HOME/varnel/config.json,
/// else ~/.config/varnel/config.json, whether it exists or not; empty without a home directory.
std::string LocateConfigFile();

/// Reads a configuration file: JSON (RFC 8259) with comments. Returns no entries if the file is
/// missing and is not the one that $VARNEL_CONFIG names.
///
/// @throws std::runtime_error "FILE:LINE:COLUMN: reason" when it is malformed or has an unknown
///         key, "FILE: reason" when it cannot be read, or when others can read secrets in it
ConfigEntries ReadConfigFile(const std::string& path);

} // namespace VarnelBase
