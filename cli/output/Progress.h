#pragma once

#include <optional>
#include <string>

namespace VarnelBase {

/// Tells on standard error how far something is: one line that is overwritten on a terminal, with a
/// bar when a fraction is known, and elsewhere a plain line for each change.
class Progress {
public:
    explicit Progress(bool isQuiet) : isSilent(isQuiet) {}
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// @param fraction from 0 to 1; none: not known
    void Show(const std::string& text, std::optional<double> fraction);

private:
    bool isSilent;
    std::string last;
};

} // namespace VarnelBase
