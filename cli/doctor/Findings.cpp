#include "doctor/Findings.h"

#include <Utf8Text.h>

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr std::size_t ResultColumns = 6;

} // namespace

void Findings::AddLine(const char* result, const std::string& check, const std::string& found,
                       const std::string& advice) {
    json line =
        json::object({{"check", check}, {"result", result}, {"found", MakePrintable(found)}});
    if (!advice.empty()) { line["do"] = advice; }
    lines.push_back(std::move(line));
}

void Findings::Add(const std::string& check, const std::string& found, const std::string& advice) {
    AddLine(advice.empty() ? "ok" : "warn", check, found, advice);
}

void Findings::Fail(ExitStatus reason, const std::string& check, const std::string& found,
                    const std::string& advice) {
    AddLine("fail", check, found, advice);
    if (status == ExitStatus::Done) { status = reason; }
}

std::string Findings::FormatText() const {
    std::string text;
    for (const json& line : lines) {
        std::string result = line.at("result");
        result.resize(ResultColumns, ' ');
        text += result + line.at("check").get<std::string>() + ": " +
                line.at("found").get<std::string>() + "\n";
        if (line.contains("do")) {
            text +=
                std::string(ResultColumns, ' ') + "-> " + line.at("do").get<std::string>() + "\n";
        }
    }
    return text;
}

} // namespace VarnelBase
