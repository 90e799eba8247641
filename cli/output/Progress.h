#pragma once

#include <optional>
#include <string>

namespace VarnelBase {

/// Tells on a terminal how far something is: one line on standard error that is overwritten, with a
/// bar when a fraction is known. Silent elsewhere.
class Progress {
public:
    explicit Progress(bool isQuiet);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// @param fraction from 0 to 1; none: not known
    void Show(const std::string& text, std::optional<double> fraction);

    /// Makes room for a message.
    void Clear();

    bool IsShown() const { return isShown; }

private:
    bool isShown;
    std::string last;
};

} // namespace VarnelBase
