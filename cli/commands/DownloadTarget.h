#pragma once

#include <PrivateFile.h>

#include <optional>
#include <string>

#include "session/Interruption.h"

namespace VarnelBase {

/// Where a downloaded file goes: standard output, a device or a pipe as it comes, or a file that
/// appears once it is complete.
class DownloadTarget {
public:
    /// Opens what can be opened before the name is known.
    ///
    /// @param place a file, a directory that gets a file of the service's name, "-" for standard
    ///              output; empty: the current directory
    /// @param isReplacing whether a file of that name may be replaced
    /// @throws CommandError naming the place when nothing can be written there
    DownloadTarget(const std::string& place, bool isReplacing);

    /// Removes what is not finished.
    ~DownloadTarget();
    DownloadTarget(const DownloadTarget&) = delete;
    DownloadTarget& operator=(const DownloadTarget&) = delete;

    /// Writes bytes.
    ///
    /// @return false: they could not be written, and `Finish` tells why
    bool Write(const char* bytes, std::size_t count);

    /// Whether the bytes are lost if nobody reads them: not if they are in a file.
    bool IsStream() const { return !unfinished; }

    /// @throws CommandError naming the file when something could not be written
    void RequireWritten() const;

    /// Gives the file its name.
    ///
    /// @param serviceName what the service calls it, made safe; empty: nothing that is fit for a
    /// file
    /// @return the file's path
    /// @throws CommandError naming the file
    std::string Finish(const std::string& serviceName);

private:
    void OpenFile(const std::string& directory);

    std::string path;      ///< of the file; empty: it follows from the service's name
    std::string directory; ///< that the file goes to
    bool isReplacing;
    std::optional<FileDescriptor> file;
    int error = 0;
    std::string temporary;
    std::optional<UnfinishedFile> unfinished;
};

} // namespace VarnelBase
