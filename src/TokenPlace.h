#pragma once

#include <memory>
#include <string>

#include "PrivateFile.h"
#include "TokenFile.h"

namespace VarnelBase {

/// Room on the disk for tokens that the provider is about to be asked for, so that an answer that
/// cannot be asked for again is not lost to a full disk or a home that cannot be written to. The
/// next tokens that this thread writes to the file go there.
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

/// The most that a token file holds.
constexpr std::size_t MaxTokenFileBytes = 1 << 16;

/// Replaces the file's content, in the place that was made for it if there is one. Where that
/// fails, tries once more with a new file: the provider may honour no older tokens than these.
///
/// @throws std::system_error saying why it cannot be written
void WriteTokenFile(const TokenFile& tokenFile, const std::string& bytes);

} // namespace VarnelBase
