#include "session/ArgumentChecks.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>

#include "output/ExitStatus.h"
#include "output/Output.h"
#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

bool ChangesRequest(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == 0x7f ||
           std::string("/?#&%").find(c) != std::string::npos;
}

std::string ReadAll(std::istream& stream, const std::string& name) {
    std::string text(std::istreambuf_iterator<char>(stream), {});
    if (stream.bad()) { throw CommandError(ExitStatus::Usage, name + ": cannot be read"); }
    return text;
}

std::string ReadDataText(const std::string& argument, const std::string& name) {
    if (argument == "-") { return ReadAll(std::cin, name); }
    if (argument.rfind('@', 0) != 0) { return argument; }
    std::ifstream file(argument.substr(1), std::ios::binary);
    // Opening a directory succeeds, reading it does not.
    if (!file || (file.peek(), file.bad())) {
        throw CommandError(ExitStatus::Usage, name + ": cannot be read");
    }
    return ReadAll(file, name);
}

} // namespace

void RequirePlainIdentifier(const Arguments& arguments, const std::string& name,
                            const std::string& identifier) {
    const bool isPlain = !identifier.empty() && identifier != "." &&
                         identifier.find("..") == std::string::npos &&
                         std::none_of(identifier.begin(), identifier.end(), ChangesRequest);
    if (isPlain || arguments.isRawId) { return; }
    throw CommandError(ExitStatus::Usage,
                       name + ": \"" + identifier +
                           "\" would change the request: an identifier must not be empty nor hold "
                           "/ ? # & % .. or a control character (--raw-id sends it nevertheless)");
}

void RequireUtf8(const std::string& name, const std::string& text) {
    const std::size_t offset = FindInvalidUtf8(text);
    if (offset == std::string::npos) { return; }
    throw CommandError(ExitStatus::Usage,
                       name + ": not UTF-8 at byte offset " + std::to_string(offset));
}

nlohmann::json ReadData(const std::string& argument) {
    const bool isElsewhere = argument == "-" || argument.rfind('@', 0) == 0;
    const std::string name = isElsewhere ? "--data " + argument : "--data";
    const std::string text = ReadDataText(argument, name);
    RequireUtf8(name, text);
    try {
        nlohmann::json document = nlohmann::json::parse(text);
        RequireShallow(document);
        return document;
    } catch (const nlohmann::json::parse_error& error) {
        // The parser counts from 1, and one further at the end of the text.
        const std::size_t offset = error.byte == 0 ? 0 : error.byte - 1;
        throw CommandError(ExitStatus::Usage,
                           name + ": not JSON at byte offset " + std::to_string(offset));
    } catch (const nlohmann::json::out_of_range&) {
        throw CommandError(ExitStatus::Usage, name + ": holds a number that is too large");
    }
}

} // namespace VarnelBase
