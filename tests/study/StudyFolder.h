#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Definition.h"

namespace VarnelBase::Studies {

/// A folder for the files of one test, which goes with it.
class StudyFolder {
public:
    StudyFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "varnel-study-XXXXXX";
        folder = mkdtemp(pattern.data());
    }
    ~StudyFolder() { std::filesystem::remove_all(folder); }
    StudyFolder(const StudyFolder&) = delete;
    StudyFolder& operator=(const StudyFolder&) = delete;

    std::string GetPath(const std::string& name) const { return folder / name; }

    void Write(const std::string& name, const std::string& content) const {
        std::ofstream(folder / name, std::ios::binary) << content;
    }

    Definition Read(const std::string& study) const {
        Write("study.json", study);
        return ReadDefinition(GetPath("study.json"));
    }

private:
    std::filesystem::path folder;
};

} // namespace VarnelBase::Studies
