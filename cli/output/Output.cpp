#include "output/Output.h"

#include <Utf8Text.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

#include "output/ExitStatus.h"
#include "output/JsonPointer.h"
#include "output/Table.h"
#include "output/Terminal.h"

namespace VarnelBase {

namespace {

std::string FormatJsonLines(const JsonView& document) {
    const std::optional<JsonView> items = FindItems(document);
    if (!items) { return document.Format(0) + "\n"; }
    std::string lines;
    for (const JsonView& item : items->ReadElements()) { lines += item.Format(0) + "\n"; }
    return lines;
}

void PrintTable(const JsonView& document) {
    const Table table =
        MakeTable(document, IsTerminal(STDOUT_FILENO) ? ReadTerminalWidth(STDOUT_FILENO) : 0);
    std::string text;
    for (const std::string& line : table.lines) {
        text += (table.hasHeading && text.empty() ? Emphasise(STDOUT_FILENO, line) : line) + "\n";
    }
    WriteOutput(text);
    std::string omitted;
    for (const std::string& name : table.omitted) {
        omitted += (omitted.empty() ? "" : ", ") + name;
    }
    if (!omitted.empty()) {
        WriteMessage("no room for " + omitted + ": widen the terminal, or use -o json");
    }
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

void WriteText(const std::string& text) {
    WriteOutput(IsTerminal(STDOUT_FILENO) ? EscapeUnprintable(text) : text);
}

void PrintDocument(const std::string& document, const OutputOptions& options) {
    const std::optional<JsonView> part = FindPointed(JsonView(document), options.query);
    if (!part) {
        throw CommandError(ExitStatus::Refused,
                           "the answer has nothing at " + options.query + ", see it with -o json");
    }
    if (WantsTable(options)) {
        PrintTable(*part);
    } else if (options.format.empty() && !options.query.empty() && part->IsString()) {
        WriteOutput(part->GetString() + "\n");
    } else {
        WriteText(options.format == "jsonl" ? FormatJsonLines(*part) : part->Format(2) + "\n");
    }
}

void WriteMessage(const std::string& text) {
    std::cerr << "varnel: " << MakePrintableLines(text) << std::endl;
}

} // namespace VarnelBase
