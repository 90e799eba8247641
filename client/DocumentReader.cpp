#include "DocumentReader.h"

#include <algorithm>

namespace VarnelBase {

namespace {

/// The deepest level of brackets outside of strings, right for every text that is JSON.
int MeasureNesting(const std::string& text) {
    int depth = 0;
    int deepest = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        switch (text[at]) {
            case '"':
                while (++at < text.size() && text[at] != '"') { at += text[at] == '\\' ? 1 : 0; }
                break;
            case '[':
            case '{':
                deepest = std::max(deepest, ++depth);
                break;
            case ']':
            case '}':
                --depth;
                break;
            default:
                break;
        }
    }
    return deepest;
}

} // namespace

Readability ReadDocument(const std::string& text, int maxNesting, nlohmann::json& document) {
    if (MeasureNesting(text) > maxNesting) { return Readability::TooDeep; }
    nlohmann::json parsed = nlohmann::json::parse(text, nullptr, false);
    if (parsed.is_discarded()) { return Readability::NotOneValue; }
    document = std::move(parsed);
    return Readability::Readable;
}

} // namespace VarnelBase
