#include "session/Arguments.h"

#include <HexText.h>
#include <JsonView.h>
#include <OperationTable.h>
#include <Utf8Text.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>
#include <iterator>

#include "output/ExitStatus.h"

namespace VarnelBase {

namespace {

bool ChangesRequest(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == 0x7f ||
           std::string("/?#&%").find(c) != std::string::npos;
}

/// Whether a character stands for itself in a path (RFC 3986, section 3.3).
bool IsUnreserved(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string("-._~!$'()*+,;=:@").find(c) != std::string::npos;
}

std::string ReadStream(std::istream& stream, const std::string& name) {
    std::string text(std::istreambuf_iterator<char>(stream), {});
    if (stream.bad()) { throw CommandError(ExitStatus::Usage, name + ": cannot be read"); }
    return text;
}

std::string ReadDataText(const std::string& argument, const std::string& name) {
    if (argument == "-") { return ReadStream(std::cin, name); }
    if (argument.rfind('@', 0) != 0) { return argument; }
    std::ifstream file(argument.substr(1), std::ios::binary);
    // Opening a directory succeeds, reading it does not.
    if (!file || (file.peek(), file.bad())) {
        throw CommandError(ExitStatus::Usage, name + ": cannot be read");
    }
    return ReadStream(file, name);
}

} // namespace

std::string Identifiers::Fill(const std::string& target) const {
    std::string filled = target;
    for (const std::string& name : ListArguments(target)) {
        const std::size_t begin = filled.find("{" + name + "}");
        filled.replace(begin, name.size() + 2, Escape(name, values.at(name)));
    }
    return filled;
}

std::string Identifiers::Escape(const std::string& name, const std::string& text) const {
    if (isRaw) { return text; }
    const bool isPlain = !text.empty() && text != "." && text.find("..") == std::string::npos &&
                         std::none_of(text.begin(), text.end(), ChangesRequest);
    if (!isPlain) {
        throw CommandError(ExitStatus::Usage,
                           name + ": \"" + text +
                               "\" would change the request: an identifier must not be empty or "
                               "contain / ? # & % .. "
                               "or a control character (--raw-id sends it anyway)");
    }
    std::string escaped;
    for (const char c : text) { escaped += IsUnreserved(c) ? std::string(1, c) : EscapeByte(c); }
    return escaped;
}

std::string GetPath(std::string_view operation) {
    const std::string_view target = FindOperation(operation).target;
    std::string path(target.substr(0, target.find('?')));
    for (const std::string& name : ListArguments(path)) {
        // "userId" is "USER" there.
        std::string noun = name.substr(0, name.size() - std::string_view("Id").size());
        for (char& c : noun) { c = static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }
        path.replace(path.find("{" + name) + 1, name.size(), noun);
    }
    return path;
}

std::vector<std::string> ListArguments(const std::string& target) {
    std::vector<std::string> names;
    for (std::size_t at = target.find('{'); at != std::string::npos; at = target.find('{', at)) {
        const std::size_t begin = ++at;
        names.push_back(target.substr(begin, target.find('}', begin) - begin));
    }
    return names;
}

void RequireUtf8(const std::string& name, const std::string& text) {
    const std::size_t offset = FindInvalidUtf8(text);
    if (offset == std::string::npos) { return; }
    throw CommandError(ExitStatus::Usage,
                       name + ": not UTF-8 at byte offset " + std::to_string(offset));
}

std::string ReadData(const std::string& argument) {
    const bool isElsewhere = argument == "-" || argument.rfind('@', 0) == 0;
    const std::string name = isElsewhere ? "--data " + argument : "--data";
    std::string text = ReadDataText(argument, name);
    const std::string problem = FindJsonProblem(text);
    if (!problem.empty()) { throw CommandError(ExitStatus::Usage, name + ": " + problem); }
    return text;
}

} // namespace VarnelBase
