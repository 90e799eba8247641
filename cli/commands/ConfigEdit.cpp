#include "commands/ConfigEdit.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

namespace VarnelBase {

namespace {

constexpr const char* Sections = "environments";
constexpr const char* BlankCharacters = " \t\r\n";
constexpr const char* ByteOrderMark = "\xEF\xBB\xBF"; ///< some editors begin files with it

/// Behind white space and comments.
std::size_t SkipBlanks(const std::string& text, std::size_t at) {
    while (at < text.size()) {
        if (text.compare(at, 2, "//") == 0) {
            at = std::min(text.find('\n', at), text.size());
        } else if (text.compare(at, 2, "/*") == 0) {
            at = text.find("*/", at) + 2;
        } else if (std::string(BlankCharacters).find(text[at]) != std::string::npos) {
            ++at;
        } else {
            break;
        }
    }
    return at;
}

struct Member {
    std::string name;
    std::size_t begin = 0; ///< of the name
    std::size_t value = 0;
    std::size_t end = 0; ///< of the value
};

/// An object in the text.
struct Object {
    std::size_t begin = 0; ///< its "{"
    std::size_t end = 0;   ///< its "}"
    std::vector<Member> members;
};

std::size_t SkipConfigString(const std::string& text, std::size_t at) {
    for (++at; text[at] != '"'; ++at) {
        if (text[at] == '\\') { ++at; }
    }
    return at + 1;
}

Object ReadObject(const std::string& text, std::size_t begin) {
    Object object{begin, 0, {}};
    std::size_t at = SkipBlanks(text, begin + 1);
    while (text[at] != '}') {
        Member member;
        member.begin = at;
        at = SkipConfigString(text, at);
        member.name = nlohmann::json::parse(text.substr(member.begin, at - member.begin));
        member.value = SkipBlanks(text, SkipBlanks(text, at) + 1);
        const char first = text[member.value];
        member.end = first == '"'   ? SkipConfigString(text, member.value)
                     : first == '{' ? ReadObject(text, member.value).end + 1
                                    : text.find_first_of(",}/ \t\r\n", member.value);
        at = SkipBlanks(text, member.end);
        if (text[at] == ',') { at = SkipBlanks(text, at + 1); }
        object.members.push_back(std::move(member));
    }
    object.end = at;
    return object;
}

std::optional<Member> FindMember(const Object& object, const std::string& name) {
    for (const Member& member : object.members) {
        if (member.name == name) { return member; }
    }
    return std::nullopt;
}

/// White space in front of what stands on the line.
std::string FindIndentation(const std::string& text, std::size_t at) {
    const std::size_t begin = text.rfind('\n', at) + 1;
    return text.substr(begin, text.find_first_not_of(" \t", begin) - begin);
}

/// Adds a member at the beginning of an object: on a line of its own where others have that.
void Insert(std::string& text, const Object& object, const std::string& member) {
    const std::string comma = object.members.empty() ? "" : ",";
    const std::size_t lineEnd = text.find('\n', object.begin);
    const std::size_t next = text.find_first_not_of(" \t\r", object.begin + 1);
    const bool isLineFree = next == lineEnd || text.compare(next, 2, "//") == 0;
    if (isLineFree && lineEnd != std::string::npos) {
        text.insert(lineEnd + 1,
                    FindIndentation(text, object.begin) + "  " + member + comma + "\n");
    } else {
        text.insert(object.begin + 1, " " + member + comma + (comma.empty() ? " " : ""));
    }
}

Object ReadRoot(const std::string& text) {
    const bool isMarked = text.rfind(ByteOrderMark, 0) == 0;
    return ReadObject(text, SkipBlanks(text, isMarked ? std::strlen(ByteOrderMark) : 0));
}

/// The object that holds a section's settings, which is added where it is missing.
Object RequireSection(std::string& text, const std::string& section) {
    if (section.empty()) { return ReadRoot(text); }
    if (!FindMember(ReadRoot(text), Sections)) {
        Insert(text, ReadRoot(text), "\"" + std::string(Sections) + "\": {}");
    }
    const auto find = [&text] {
        return ReadObject(text, FindMember(ReadRoot(text), Sections)->value);
    };
    if (!FindMember(find(), section)) { Insert(text, find(), "\"" + section + "\": {}"); }
    return ReadObject(text, FindMember(find(), section)->value);
}

} // namespace

std::string SetConfigMember(std::string text, const std::string& section, const std::string& name,
                            const std::string& value) {
    const Object object = RequireSection(text, section);
    const std::optional<Member> member = FindMember(object, name);
    if (member) {
        text.replace(member->value, member->end - member->value, value);
    } else {
        Insert(text, object, "\"" + name + "\": " + value);
    }
    return text;
}

std::string RemoveConfigMember(std::string text, const std::string& section,
                               const std::string& name) {
    std::string probe = text;
    const Object object = RequireSection(probe, section);
    const std::optional<Member> member = FindMember(object, name);
    if (!member) { return text; }

    std::size_t begin = member->begin;
    std::size_t end = member->end;
    const std::size_t comma = SkipBlanks(text, end);
    if (text[comma] == ',') {
        text.erase(comma, 1);
    } else {
        // The last one: the comma in front of it goes, wherever comments have put it.
        for (std::size_t i = 1; i < object.members.size(); ++i) {
            if (object.members[i].begin != begin) { continue; }
            const std::size_t before = SkipBlanks(text, object.members[i - 1].end);
            text.erase(before, 1);
            --begin;
            --end;
        }
    }
    const std::size_t lineBegin = text.rfind('\n', begin) + 1;
    const std::size_t lineEnd = text.find_first_not_of(" \t\r", end);
    const bool isAlone = text.find_first_not_of(" \t", lineBegin) == begin &&
                         lineEnd != std::string::npos && text[lineEnd] == '\n';
    if (isAlone) {
        begin = lineBegin;
        end = lineEnd + 1;
    }
    return text.erase(begin, end - begin);
}

} // namespace VarnelBase
