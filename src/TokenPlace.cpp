#include "TokenPlace.h"

#include <system_error>
#include <utility>

namespace VarnelBase {

namespace {

thread_local TokenPlace* currentPlace = nullptr;

void WriteNewFile(const TokenFile& tokenFile, const std::string& bytes) {
    CreatePrivateDirectory(tokenFile.directory);
    ReplacePrivateFile(tokenFile.directory, tokenFile.name, bytes);
}

} // namespace

TokenPlace::TokenPlace(const TokenFile& tokenFile) {
    CreatePrivateDirectory(tokenFile.directory);
    replacement =
        std::make_unique<FileReplacement>(tokenFile.directory, tokenFile.name, MaxTokenFileBytes);
    currentPlace = this;
}

TokenPlace::~TokenPlace() {
    currentPlace = nullptr;
}

void WriteTokenFile(const TokenFile& tokenFile, const std::string& bytes) {
    RequireTokenDirectory(tokenFile);
    try {
        if (currentPlace != nullptr && currentPlace->replacement &&
            currentPlace->replacement->GetPath() == tokenFile.GetPath()) {
            const auto place = std::exchange(currentPlace->replacement, nullptr);
            place->Finish(bytes);
        } else {
            WriteNewFile(tokenFile, bytes);
        }
    } catch (const std::system_error&) { WriteNewFile(tokenFile, bytes); }
}

} // namespace VarnelBase
