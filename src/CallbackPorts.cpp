#include "CallbackPorts.h"

#include <charconv>
#include <sstream>
#include <system_error>

namespace VarnelBase {

namespace {

constexpr int LastPort = 65535;

/// Removes a port from the beginning of a text; 0 if the text does not begin with one.
int TakePort(std::string& text) {
    int port = 0;
    const char* begin = text.data();
    const auto [stop, error] = std::from_chars(begin, begin + text.size(), port);
    text.erase(0, static_cast<std::size_t>(stop - begin));
    return error == std::errc() && port >= 1 && port <= LastPort ? port : 0;
}

} // namespace

PortRanges ParsePortRanges(const Setting& setting) {
    PortRanges ranges;
    std::istringstream stream(setting.text + ",");
    for (std::string part; std::getline(stream, part, ',');) {
        part.erase(0, part.find_first_not_of(' '));
        const int first = TakePort(part);
        int last = first;
        if (part.rfind('-', 0) == 0) {
            part.erase(0, 1);
            last = TakePort(part);
        }
        if (first == 0 || last < first || part.find_first_not_of(' ') != std::string::npos) {
            RejectSetting(setting, "must be ports and ranges of ports, such as 53682,53690-53695");
        }
        ranges.emplace_back(first, last);
    }
    return ranges;
}

std::string DescribePortRanges(const PortRanges& ranges) {
    std::string text;
    for (const auto& [first, last] : ranges) {
        text += (text.empty() ? "" : ",") + std::to_string(first) +
                (last == first ? "" : "-" + std::to_string(last));
    }
    return text;
}

} // namespace VarnelBase
