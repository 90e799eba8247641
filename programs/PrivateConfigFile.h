#pragma once

#include <FileDescriptor.h>

#include <optional>
#include <string>

namespace VarnelBase {

/// Where a file with passwords lies best: in memory.
std::string LocateRuntimeDirectory();

/// A configuration file for this user alone, in a directory of its own that goes with everything in
/// it. Directories that killed processes have left there go as well.
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
    std::optional<FileDescriptor> lock; ///< of the directory while its owner lives
};

} // namespace VarnelBase
