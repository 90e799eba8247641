#pragma once

#include <string_view>

namespace VarnelBase::Emulation {

/// Levels that a document of a request or a file may nest, so that whatever walks it stays within
/// its stack.
constexpr int MaxJsonDepth = 200;

/// How deep the arrays and objects of a text nest, which need not be JSON.
int MeasureJsonDepth(std::string_view text);

} // namespace VarnelBase::Emulation
