#pragma once

#include <string>

namespace VarnelBase {

/// A configuration file for this user alone, in a directory of its own that goes with everything in
/// it.
class PrivateConfigFile {
public:
    /// @param parent directory for that directory
    /// @throws std::system_error it cannot be written
    PrivateConfigFile(const std::string& parent, const std::string& text);
    ~PrivateConfigFile();
    PrivateConfigFile(const PrivateConfigFile&) = delete;
    PrivateConfigFile& operator=(const PrivateConfigFile&) = delete;

    std::string GetPath() const;

private:
    std::string directory;
};

} // namespace VarnelBase
