#include "files/DownloadedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "network/TcpConnection.h"
#include "output/ExitStatus.h"
#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

/// Reads one parameter's value from its first character on, and moves behind it.
std::string ReadValue(const std::string& header, std::size_t& at) {
    std::string value;
    if (at < header.size() && header[at] == '"') {
        for (++at; at < header.size() && header[at] != '"'; ++at) {
            if (header[at] == '\\' && at + 1 < header.size()) { ++at; }
            value += header[at];
        }
        return value;
    }
    while (at < header.size() && header[at] != ';') { value += header[at++]; }
    return value.substr(0, value.find_last_not_of(" \t") + 1);
}

std::string ReadName(const std::string& header, std::size_t& at) {
    std::string name;
    while (at < header.size() && header[at] != '=' && header[at] != ';') {
        if (header[at] != ' ' && header[at] != '\t') {
            name += static_cast<char>(std::tolower(static_cast<unsigned char>(header[at])));
        }
        ++at;
    }
    return name;
}

/// The value without the character set and language in front of it (RFC 8187, section 3.2).
std::string DropCharacterSet(const std::string& value) {
    const std::size_t first = value.find('\'');
    const std::size_t second = first == std::string::npos ? first : value.find('\'', first + 1);
    return second == std::string::npos ? value : value.substr(second + 1);
}

std::string DescribeError(const std::string& path, int error) {
    return path + ": " + std::generic_category().message(error);
}

/// Puts the complete temporary file in its place; 0, or the number of the error.
int MoveIntoPlace(const std::string& temporary, const std::string& path, bool isReplacing) {
    const int moved = isReplacing ? std::rename(temporary.c_str(), path.c_str())
                                  : renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(),
                                              RENAME_NOREPLACE);
    return moved == 0 ? 0 : errno;
}

} // namespace

std::string ReadFileName(const std::string& header) {
    std::string plain;
    std::string extended;
    for (std::size_t at = header.find(';'); at < header.size(); at = header.find(';', at)) {
        const std::string name = ReadName(header, ++at);
        if (at >= header.size() || header[at] != '=') { continue; }
        at = header.find_first_not_of(" \t", at + 1);
        if (at == std::string::npos) { break; }
        const std::string value = ReadValue(header, at);
        if (name == "filename") { plain = value; }
        if (name == "filename*") { extended = DropCharacterSet(value); }
    }
    const std::string& chosen = extended.empty() ? plain : extended;
    const std::string base = chosen.substr(chosen.find_last_of("/\\") + 1);
    const bool isUsable = !base.empty() && base.front() != '.' && base == MakePrintable(base);
    return isUsable ? base : "";
}

void WriteFileWhole(const std::string& path, const std::string& bytes, bool isReplacing) {
    const std::string temporary = path + ".part-" + std::to_string(getpid());
    Descriptor file(
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.IsOpen()) {
        throw CommandError(ExitStatus::Refused, DescribeError(temporary, errno));
    }

    int error = 0;
    for (std::size_t written = 0; error == 0 && written < bytes.size();) {
        const ssize_t count = write(file.Get(), bytes.data() + written, bytes.size() - written);
        if (count < 0) {
            error = errno == EINTR ? 0 : errno;
        } else {
            written += static_cast<std::size_t>(count);
        }
    }
    if (error == 0 && fsync(file.Get()) != 0) { error = errno; }
    if (error == 0) { error = MoveIntoPlace(temporary, path, isReplacing); }
    if (error == 0) { return; }
    unlink(temporary.c_str());
    throw CommandError(ExitStatus::Refused, DescribeError(path, error));
}

} // namespace VarnelBase
