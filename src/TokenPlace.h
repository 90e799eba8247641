#pragma once

#include <memory>
#include <string>

#include "PrivateFile.h"
#include "TokenFile.h"

namespace VarnelBase {

/// Reserves space on the disk before tokens are requested, so that tokens that are issued only once
/// are not lost to a full or read-only disk. The next tokens that this thread writes to the file
/// use it.
class TokenPlace {
public:
    /// @throws std::system_error saying why there is no place
    explicit TokenPlace(const TokenFile& tokenFile);
    ~TokenPlace();
    TokenPlace(const TokenPlace&) = delete;
    TokenPlace& operator=(const TokenPlace&) = delete;

private:
    friend void WriteTokenFile(const TokenFile& tokenFile, const std::string& bytes);

    std::unique_ptr<FileReplacement> replacement;
};

/// The largest token file.
constexpr std::size_t MaxTokenFileBytes = 1 << 16;

/// Replaces the file's content, using the reserved space if any. If that fails, tries once more
/// with a new file, since the provider may no longer accept the old tokens.
///
/// @throws std::system_error saying why it cannot be written
void WriteTokenFile(const TokenFile& tokenFile, const std::string& bytes);

} // namespace VarnelBase
