#pragma once

#include <cstddef>
#include <string>

#include "FileDescriptor.h"

namespace VarnelBase {

/// What reading a file gave.
struct FileReading {
    std::string bytes;            ///< the whole content, when there was no problem
    std::string problem;          ///< why there is none; empty: no problem
    bool isMissing = false;       ///< the problem: there is nothing of that name
    bool lacksDescriptor = false; ///< the problem: too many files are open
    bool isPrivate = false;       ///< the file is this user's, without permissions for anybody else
};

enum class SymbolicLinks { Follow, Refuse };

/// Reads a regular file whole; never waits on a pipe or a device that has its name.
///
/// @param maxBytes a larger file is a problem
FileReading ReadRegularFile(const std::string& path, std::size_t maxBytes, SymbolicLinks links);

/// Creates a directory for this user alone (0700) and those above it that are missing, and takes
/// away what others may do in an existing one. Root gets none below a directory of another user,
/// whom it would lock out of it.
///
/// @throws std::system_error naming the directory
void CreatePrivateDirectory(const std::string& path);

/// A file (0600) that is to take the place of whatever has its name, made beside it beforehand with
/// room on the disk. Removed again unless it is finished.
class FileReplacement {
public:
    /// @param directory an existing directory
    /// @param size      how many bytes to make room for; 0: none
    /// @throws std::system_error naming the file
    FileReplacement(const std::string& directory, const std::string& fileName, std::size_t size);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    const std::string& GetPath() const { return path; }

    /// Does once what `ReplacePrivateFile` says.
    void Finish(const std::string& bytes);

private:
    std::string path;
    std::string name;
    std::string temporary;
    FileDescriptor parent;
    FileDescriptor file;
    bool isDone = false;
};

/// Puts a file (0600) with these bytes in the place of whatever has the name, all at once: whoever
/// opens the name finds the old content or the new one, whole, whenever the machine stops.
///
/// @param directory an existing directory
/// @throws std::system_error naming the file; it is as it was then, unless all that failed was to
///         make the replacement last
void ReplacePrivateFile(const std::string& directory, const std::string& name,
                        const std::string& bytes);

/// Removes such a file, and what writers that were killed have left of it; neither need be there.
///
/// @throws std::system_error naming the file
void RemovePrivateFile(const std::string& directory, const std::string& name);

} // namespace VarnelBase
