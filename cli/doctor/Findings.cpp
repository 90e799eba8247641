#include "doctor/Findings.h"

#include <Utf8Text.h>

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr std::size_t ResultColumns = 6;

} // namespace

void Findings::Add(Health health, const std::string& check, const std::string& found,
                   const std::string& advice) {
    const char* name = health == Health::Ok ? "ok" : health == Health::Warn ? "warn" : "fail";
    json line = json::object({{"check", check}, {"result", name}, {"found", MakePrintable(found)}});
    if (!advice.empty()) { line["do"] = advice; }
    lines.push_back(std::move(line));
}

void Findings::Fail(ExitStatus reason, const std::string& check, const std::string& found,
                    const std::string& advice) {
    Add(Health::Fail, check, found, advice);
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
