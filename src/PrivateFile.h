#pragma once

#include <cstddef>
#include <string>

#include "FileDescriptor.h"

namespace VarnelBase {

/// The result of reading a file.
struct FileReading {
    std::string bytes;            ///< the whole content, unless there was a problem
    std::string problem;          ///< why it could not be read; empty: no problem
    bool isMissing = false;       ///< the problem: no such file
    bool lacksDescriptor = false; ///< the problem: too many files are open
    bool isPrivate = false;       ///< the file is this user's and accessible to nobody else
};

enum class SymbolicLinks { Follow, Refuse };

/// Reads a whole regular file; never blocks on a pipe or a device of that name.
///
/// @param maxBytes a larger file is a problem
FileReading ReadRegularFile(const std::string& path, std::size_t maxBytes, SymbolicLinks links);

/// Creates a directory that only this user can access (0700), and missing ones above it; makes an
/// existing one private. Root must not do so below another user's directory: it would lock that
/// user out.
///
/// @throws std::system_error naming the directory
void CreatePrivateDirectory(const std::string& path);

/// A new file (0600), with space reserved on the disk, that will replace the file of that name.
/// Removed again unless it is finished.
class FileReplacement {
public:
    /// @param directory an existing directory
    /// @param size      bytes to reserve; 0: none
    /// @throws std::system_error naming the file
    FileReplacement(const std::string& directory, const std::string& fileName, std::size_t size);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    const std::string& GetPath() const { return path; }

    /// Writes and renames it as `ReplacePrivateFile` does. Call it once.
    void Finish(const std::string& bytes);

private:
    std::string path;
    std::string name;
    std::string temporary;
    FileDescriptor parent;
    FileDescriptor file;
    bool isDone = false;
};

/// Replaces a file (0600) atomically: whoever opens it finds the whole old or the whole new
/// content, even after a power failure.
///
/// @param directory an existing directory
/// @throws std::system_error naming the file, which is then unchanged unless only the last step,
///         making the replacement durable, failed
void ReplacePrivateFile(const std::string& directory, const std::string& name,
                        const std::string& bytes);

/// Removes such a file and the leftovers of killed writers, if any.
///
/// @throws std::system_error naming the file
void RemovePrivateFile(const std::string& directory, const std::string& name);

} // namespace VarnelBase
