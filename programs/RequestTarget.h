#pragma once

#include <map>
#include <string>
#include <vector>

namespace VarnelBase {

std::vector<std::string> SplitText(const std::string& text, char separator);

/// The text with the bytes that its escapes ("%41") stand for.
std::string DecodePercent(const std::string& text);

/// Path and query of a URL or of a target that begins with its path, without a fragment.
std::string TakeOriginForm(const std::string& url);

/// Names and values of a request target's query, decoded, those of one name in their order.
std::multimap<std::string, std::string> ParseQuery(const std::string& target);

} // namespace VarnelBase
