#pragma once

#include <CLI/CLI.hpp>

#include <memory>

#include "session/Session.h"

namespace VarnelBase {

/// The whole command line: every command with its options, description and examples. Parsing it
/// fills the session's options and chooses what it runs.
std::unique_ptr<CLI::App> BuildCommandTree(Session& session);

} // namespace VarnelBase
