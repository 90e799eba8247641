#include "OperationTable.h"

#include <stdexcept>
#include <string_view>

#include "IdentityUrl.h"

namespace VarnelBase {

std::string MakeTarget(const ServiceOperation& operation,
                       std::initializer_list<std::string> arguments) {
    std::string target;
    std::string_view rest = operation.target;
    for (const std::string& argument : arguments) {
        const std::size_t open = rest.find('{');
        const std::size_t close = rest.find('}');
        target += rest.substr(0, open);
        const bool isSegment = target.back() == '/';
        if (isSegment && (argument.empty() || argument == "." || argument == "..")) {
            throw std::invalid_argument(std::string(rest.substr(open + 1, close - open - 1)) +
                                        ": \"" + argument + "\" names nothing");
        }
        target += EncodeUrlText(argument);
        rest.remove_prefix(close + 1);
    }
    return target.append(rest);
}

} // namespace VarnelBase
