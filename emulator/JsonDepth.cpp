#include "JsonDepth.h"

#include <algorithm>

namespace VarnelBase::Emulation {

int MeasureJsonDepth(std::string_view text) {
    int depth = 0;
    int deepest = 0;
    bool isInString = false;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const char c = text[position];
        if (c == '"') {
            isInString = !isInString;
        } else if (isInString) {
            if (c == '\\') { ++position; }
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

} // namespace VarnelBase::Emulation
