#pragma once

#include <boost/beast/core/string.hpp>

#include <string>

namespace VarnelBase {

inline std::string ToText(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

} // namespace VarnelBase
