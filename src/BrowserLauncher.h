#pragma once

#include <stdexcept>
#include <string>

namespace VarnelBase {

/// No browser could be started.
class NoBrowser : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Shows an address in the person's browser: with the first command in $BROWSER that works (a list
/// separated by colons; "%s" stands for the address, which is appended otherwise), without $BROWSER
/// with the system's own opener. No shell is involved. The browser gets neither the program's
/// standard streams and descriptors nor its VARNEL secrets.
///
/// @return whether one was started and did not fail within a second
bool LaunchBrowser(const std::string& url);

} // namespace VarnelBase
