#pragma once

namespace VarnelBase {

/// The version that stands for the service's when nothing is sent.
inline constexpr const char* OfflineVersion = "0.4.1";

} // namespace VarnelBase
