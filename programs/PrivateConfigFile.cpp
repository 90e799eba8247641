#include "PrivateConfigFile.h"

#include <PrivateFile.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace VarnelBase {

namespace {

constexpr const char* ConfigName = "config.json";

void RemoveDirectory(const std::string& directory) {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

} // namespace

PrivateConfigFile::PrivateConfigFile(const std::string& parent, const std::string& text)
    : directory(parent + "/varnel-XXXXXX") {
    if (mkdtemp(directory.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), directory);
    }
    try {
        ReplacePrivateFile(directory, ConfigName, text);
    } catch (const std::exception&) {
        RemoveDirectory(directory);
        throw;
    }
}

PrivateConfigFile::~PrivateConfigFile() {
    RemoveDirectory(directory);
}

std::string PrivateConfigFile::GetPath() const {
    return directory + "/" + ConfigName;
}

} // namespace VarnelBase
