#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace VarnelBase::Emulation {

/// Levels that a document of a request or a file may nest, so that whatever walks it stays within
/// its stack.
constexpr int MaxJsonDepth = 200;

/// How deep the arrays and objects of a text nest, which need not be JSON.
int MeasureJsonDepth(std::string_view text);

/// Calls a function with the name and the text of each member of an object.
///
/// @param object valid JSON
void VisitMembers(
    std::string_view object,
    const std::function<void(const std::string& name, std::string_view value)>& visit);

/// Calls a function with the text of each element of an array.
///
/// @param array valid JSON
void VisitElements(std::string_view array, const std::function<void(std::string_view)>& visit);

} // namespace VarnelBase::Emulation
