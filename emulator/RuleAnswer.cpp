#include "RuleAnswer.h"

#include <PrivateFile.h>

#include <algorithm>
#include <filesystem>

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxRuleFileBytes = std::size_t{64} << 20U;

bool IsToken(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 ||
               std::string("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string::npos;
    });
}

bool IsText(const std::string& value) {
    return std::none_of(value.begin(), value.end(),
                        [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7f; });
}

void ReadHeaders(MemberReader& members, Answer& answer) {
    if (!members.Has("headers")) { return; }
    MemberReader headers(members.Find("headers"), "headers");
    for (const auto& header : members.Find("headers").items()) {
        const std::string value = headers.ReadText(header.key());
        // How an answer is sent is not the rule's to decide.
        const bool isFraming =
            IsHeader(header.key(), {"Content-Length", "Transfer-Encoding", "Connection"});
        if (!IsToken(header.key()) || !IsText(value) || isFraming) {
            headers.Refuse(header.key(), "cannot be set");
        }
        if (IsHeader(header.key(), {"Content-Type"})) {
            answer.contentType = value;
        } else {
            answer.headers.emplace_back(header.key(), value);
        }
    }
}

std::string ReadFile(MemberReader& members, const std::string& directory) {
    const std::string name = members.ReadText("file");
    if (directory.empty()) {
        members.Refuse("file", "requires --files, the directory of the files");
    }
    const std::filesystem::path path(name);
    if (path.is_absolute() || std::find(path.begin(), path.end(), "..") != path.end()) {
        members.Refuse("file", "must be below the directory of --files");
    }
    FileReading file = ReadRegularFile((std::filesystem::path(directory) / path).string(),
                                       MaxRuleFileBytes, SymbolicLinks::Follow);
    if (!file.problem.empty()) { members.Refuse("file", name + ": " + file.problem); }
    return std::move(file.bytes);
}

std::string GuessContentType(const std::string& fileName) {
    const std::string extension = std::filesystem::path(fileName).extension().string();
    return extension == ".json"  ? "application/json"
           : extension == ".zip" ? "application/zip"
           : extension == ".txt" ? "text/plain; charset=utf-8"
                                 : "application/octet-stream";
}

} // namespace

std::shared_ptr<const Answer> ReadRuleAnswer(MemberReader& members, const std::string& directory) {
    const auto answer = std::make_shared<Answer>();
    answer->status = static_cast<int>(members.ReadInteger("status", 200, 200, 599));
    const int bodies =
        int{members.IsGiven("body")} + int{members.IsGiven("text")} + int{members.IsGiven("file")};
    if (bodies > 1) { members.Refuse("body", "cannot be combined with text or file"); }
    if (members.IsGiven("body")) {
        answer->body = WriteJson(members.Find("body"));
    } else if (members.IsGiven("text")) {
        answer->body = members.ReadText("text");
        answer->contentType = "text/plain; charset=utf-8";
    } else if (members.IsGiven("file")) {
        answer->body = ReadFile(members, directory);
        answer->contentType = GuessContentType(members.ReadText("file"));
    } else {
        answer->contentType.clear();
    }
    ReadHeaders(members, *answer);
    return answer;
}

} // namespace VarnelBase::Emulation
