#include "output/Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>
#include <vector>

#include "output/ExitStatus.h"
#include "output/Table.h"
#include "output/Terminal.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

/// The JSON library recurses when it copies or writes: far more levels would overflow the stack.
constexpr std::size_t MaxDepth = 1000;

std::string EmphasiseHeading(const std::string& text) {
    return Emphasise(STDOUT_FILENO, text);
}

std::string FormatJsonLines(const json& document) {
    const json* items = FindItems(document);
    if (items == nullptr) { return document.dump() + "\n"; }
    std::string lines;
    for (const json& item : *items) { lines += item.dump() + "\n"; }
    return lines;
}

std::string FormatDocument(const json& document, const OutputOptions& options) {
    if (options.format == "jsonl") { return FormatJsonLines(document); }
    if (WantsTable(options)) {
        const bool isTerminal = IsTerminal(STDOUT_FILENO);
        return FormatTable(document, isTerminal ? FindTerminalWidth(STDOUT_FILENO) : 0,
                           EmphasiseHeading);
    }
    if (options.format.empty() && !options.query.empty() && document.is_string()) {
        return document.get<std::string>() + "\n";
    }
    return document.dump(2) + "\n";
}

} // namespace

bool WantsTable(const OutputOptions& options) {
    return options.format == "table" || (options.format.empty() && IsTerminal(STDOUT_FILENO));
}

void WriteOutput(const std::string& bytes) {
    const std::size_t written = std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    if (written == bytes.size() && std::fflush(stdout) == 0) { return; }
    const int error = errno;
    throw CommandError(
        ExitStatus::Refused,
        error == EPIPE ? "" : "standard output: " + std::generic_category().message(error));
}

void PrintDocument(const json& document, const OutputOptions& options) {
    RequireShallow(document);
    const json::json_pointer pointer(options.query);
    if (!document.contains(pointer)) {
        throw CommandError(ExitStatus::Refused,
                           "the answer has nothing at " + options.query + ", see it with -o json");
    }
    WriteOutput(FormatDocument(document.at(pointer), options));
}

void RequireShallow(const json& document) {
    std::vector<std::pair<const json*, std::size_t>> pending{{&document, 1}};
    while (!pending.empty()) {
        const auto [value, depth] = pending.back();
        pending.pop_back();
        if (depth > MaxDepth) {
            throw CommandError(ExitStatus::Refused, "the document is nested more deeply than " +
                                                        std::to_string(MaxDepth) + " levels");
        }
        if (!value->is_structured()) { continue; }
        for (const json& inner : *value) { pending.emplace_back(&inner, depth + 1); }
    }
}

} // namespace VarnelBase
