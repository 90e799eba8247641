#pragma once

#include <stdexcept>
#include <string>

// For EXPECT_PRED2, which shows both texts.

inline bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

inline bool Lacks(const std::string& text, const std::string& part) {
    return !Has(text, part);
}

inline bool BeginsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

/// The message of what an action throws; empty when it throws nothing.
template <typename Error = std::runtime_error, typename Action>
std::string CatchMessage(Action action) {
    try {
        action();
    } catch (const Error& error) { return error.what(); }
    return "";
}
