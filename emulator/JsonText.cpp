#include "JsonText.h"

#include <TrimBlanks.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace VarnelBase::Emulation {

namespace {

/// Where the text goes on after the string that begins at a position.
std::size_t SkipString(std::string_view text, std::size_t position) {
    for (++position; position < text.size() && text[position] != '"'; ++position) {
        if (text[position] == '\\') { ++position; }
    }
    return position + 1;
}

/// Where the text goes on after the value that begins at a position.
std::size_t SkipValue(std::string_view text, std::size_t position) {
    int depth = 0;
    while (position < text.size()) {
        const char c = text[position];
        if (c == '"') {
            position = SkipString(text, position);
            if (depth == 0) { return position; }
            continue;
        }
        if (c == '[' || c == '{') { ++depth; }
        if (c == ']' || c == '}') { --depth; }
        if (depth < 0 || (depth == 0 && c == ',')) { return position; }
        ++position;
        if (depth == 0 && (c == ']' || c == '}')) { return position; }
    }
    return position;
}

/// Where the next value or name begins, after spaces and one separator.
std::size_t FindNext(std::string_view text, std::size_t position) {
    return std::min(text.find_first_not_of(" \t\r\n,:", position), text.size());
}

bool IsEnd(std::string_view text, std::size_t position) {
    return position >= text.size() || text[position] == ']' || text[position] == '}';
}

} // namespace

int MeasureJsonDepth(std::string_view text) {
    int depth = 0;
    int deepest = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const char c = text[position];
        if (c == '"') {
            position = SkipString(text, position) - 1;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

void VisitMembers(
    std::string_view object,
    const std::function<void(const std::string& name, std::string_view value)>& visit) {
    std::size_t position = FindNext(object, object.find('{') + 1);
    while (!IsEnd(object, position)) {
        const std::size_t nameEnd = SkipString(object, position);
        const auto name = nlohmann::json::parse(object.substr(position, nameEnd - position));
        const std::size_t begin = FindNext(object, nameEnd);
        const std::size_t end = SkipValue(object, begin);
        visit(name.get<std::string>(), TrimBlanks(object.substr(begin, end - begin)));
        position = FindNext(object, end);
    }
}

void VisitElements(std::string_view array, const std::function<void(std::string_view)>& visit) {
    std::size_t position = FindNext(array, array.find('[') + 1);
    while (!IsEnd(array, position)) {
        const std::size_t end = SkipValue(array, position);
        visit(TrimBlanks(array.substr(position, end - position)));
        position = FindNext(array, end);
    }
}

} // namespace VarnelBase::Emulation
