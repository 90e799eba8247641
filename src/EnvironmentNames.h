#pragma once

#include <array>

namespace VarnelBase {

/// The environments' names in the configuration file, by their numbers.
inline constexpr std::array<const char*, 3> EnvironmentNames{"local", "staging", "production"};

/// The end of a message about an unknown name.
inline constexpr const char* KnownEnvironments = "must be local, staging or production";

} // namespace VarnelBase
