#pragma once

#include <cstddef>
#include <string>

namespace VarnelBase {

/// A file that appears under its name once it is complete. Until then its bytes are in a temporary
/// file beside it, which does not outlive the object.
class ProjectFile {
public:
    /// @param path of the file, or an existing directory
    explicit ProjectFile(std::string path) : target(std::move(path)) {}
    ~ProjectFile();
    ProjectFile(const ProjectFile&) = delete;
    ProjectFile& operator=(const ProjectFile&) = delete;

    /// Creates the temporary file.
    ///
    /// @return false if it cannot be written, like `Write` and `Finish`
    bool Open();
    bool Write(const char* bytes, std::size_t size);

    /// Puts the file in its place. An existing file is replaced if the path names it; in a
    /// directory it stays, and the new name gets a number.
    ///
    /// @param nameInDirectory the file's name, when the path is a directory
    bool Finish(const std::string& nameInDirectory);

    const std::string& GetPath() const { return target; }

    /// "PATH: REASON"
    std::string DescribeError() const;

private:
    bool Fail();
    bool TakeNumberedName();

    std::string target;
    std::string temporary;
    bool isInDirectory = false;
    int descriptor = -1;
    int error = 0;
};

} // namespace VarnelBase
