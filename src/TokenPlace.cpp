#include "TokenPlace.h"

namespace VarnelBase {

namespace {

thread_local TokenPlace* currentPlace = nullptr;

} // namespace

TokenPlace::TokenPlace(const TokenFile& tokenFile) {
    RequireTokenDirectory(tokenFile);
    CreatePrivateDirectory(tokenFile.directory);
    replacement.emplace(tokenFile.directory, tokenFile.name, MaxTokenFileBytes);
    currentPlace = this;
}

TokenPlace::~TokenPlace() {
    currentPlace = nullptr;
}

void WriteTokenFile(const TokenFile& tokenFile, const std::string& bytes) {
    RequireTokenDirectory(tokenFile);
    if (currentPlace != nullptr && currentPlace->replacement &&
        currentPlace->replacement->GetPath() == tokenFile.GetPath()) {
        currentPlace->replacement->Finish(bytes);
        currentPlace->replacement.reset();
        return;
    }
    CreatePrivateDirectory(tokenFile.directory);
    ReplacePrivateFile(tokenFile.directory, tokenFile.name, bytes);
}

} // namespace VarnelBase
