#include "output/JsonPointer.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <vector>

#include "output/ExitStatus.h"

namespace VarnelBase {

std::optional<JsonView> FindPointed(const JsonView& document, const std::string& pointer) {
    std::optional<JsonView> found(document);
    for (std::size_t begin = 0; found && begin < pointer.size();) {
        const std::size_t end = std::min(pointer.find('/', begin + 1), pointer.size());
        // The library's own unescaping of "~0" and "~1".
        const std::string name =
            nlohmann::json::json_pointer(pointer.substr(begin, end - begin)).back();
        begin = end;
        std::vector<JsonView> matches;
        for (const auto& [key, value] : found->ReadMembers()) {
            if (key == name) { matches.push_back(value); }
        }
        const std::vector<JsonView> elements = found->ReadElements();
        for (std::size_t i = 0; i < elements.size(); ++i) {
            if (name == std::to_string(i)) { matches.push_back(elements[i]); }
        }
        if (matches.size() > 1) {
            throw CommandError(ExitStatus::Refused,
                               "the answer holds " + pointer.substr(0, end) + " twice");
        }
        found = matches.empty() ? std::nullopt : std::optional(matches.front());
    }
    return found;
}

} // namespace VarnelBase
