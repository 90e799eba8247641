#include "JsonView.h"

#include <TrimBlanks.h>

#include <nlohmann/json.hpp>

#include <cctype>

#include "Utf8Text.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

/// The JSON library and what it hands documents to recurse: far more levels would overflow the
/// stack.
constexpr std::size_t MaxDepth = 1000;

/// Receives the parser's events and keeps nothing of them but what is wrong.
class Inspector : public json::json_sax_t {
public:
    std::string problem;
    std::size_t members = 0;

    bool null() override { return true; }
    bool boolean(bool /*value*/) override { return true; }
    bool number_integer(number_integer_t /*value*/) override { return true; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return true; }
    bool string(string_t& /*value*/) override { return true; }
    bool binary(binary_t& /*value*/) override { return true; }
    bool key(string_t& /*name*/) override { return ++members > 0; }
    bool start_object(std::size_t /*size*/) override { return Enter(); }
    bool start_array(std::size_t /*size*/) override { return Enter(); }
    bool end_object() override { return --depth, true; }
    bool end_array() override { return --depth, true; }
    bool parse_error(std::size_t position, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        const bool isNumber = dynamic_cast<const json::out_of_range*>(&error) != nullptr;
        // The parser counts from 1, and one further at the end of the text.
        problem = isNumber ? "holds a number that is too large"
                           : "not JSON at byte offset " +
                                 std::to_string(position == 0 ? 0 : position - 1);
        return false;
    }

private:
    bool Enter() {
        if (++depth <= MaxDepth) { return true; }
        problem = "nested more deeply than " + std::to_string(MaxDepth) + " levels";
        return false;
    }

    std::size_t depth = 0;
};

/// A document in which integers beyond 64 bits are kept, as texts that no JSON text holds.
json ReadExactly(const JsonView& value) {
    if (value.IsObject()) {
        json object = json::object();
        for (const auto& [name, member] : value.ReadMembers()) {
            object[name] = ReadExactly(member);
        }
        return object;
    }
    if (value.IsArray()) {
        json array = json::array();
        for (const JsonView& element : value.ReadElements()) {
            array.push_back(ReadExactly(element));
        }
        return array;
    }
    const std::string text(value.GetText());
    json read = json::parse(text);
    const bool isInteger = text.find_first_of(".eE") == std::string::npos;
    return read.is_number_float() && isInteger ? json("\xff" + text) : read;
}

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

/// Behind the string that begins at a quotation mark.
std::size_t SkipString(std::string_view text, std::size_t at) {
    for (++at; text[at] != '"'; ++at) {
        if (text[at] == '\\') { ++at; }
    }
    return at + 1;
}

} // namespace

std::string FindJsonProblem(const std::string& text) {
    const std::size_t offset = FindInvalidUtf8(text);
    if (offset != std::string::npos) {
        return "not UTF-8 at byte offset " + std::to_string(offset);
    }
    Inspector inspector;
    json::sax_parse(text, &inspector);
    return inspector.problem;
}

bool IsSameJson(const std::string& one, const std::string& other) {
    return ReadExactly(JsonView(one)) == ReadExactly(JsonView(other));
}

bool HasDuplicateMembers(const std::string& text) {
    Inspector written;
    Inspector kept;
    json::sax_parse(text, &written);
    json::sax_parse(json::parse(text).dump(), &kept);
    return written.members != kept.members;
}

JsonView::JsonView(std::string_view value) : text(TrimBlanks(value)) {}

/// What stands between the commas of an array or object.
std::vector<std::string_view> JsonView::Split() const {
    std::vector<std::string_view> parts;
    std::size_t depth = 0;
    std::size_t begin = 1;
    for (std::size_t at = 1; at < text.size();) {
        const char c = text[at];
        if (c == '"') {
            at = SkipString(text, at);
            continue;
        }
        if (c == '{' || c == '[') { ++depth; }
        const bool isEnd = at + 1 == text.size();
        if (depth == 0 && (c == ',' || isEnd)) {
            const std::string_view part = TrimBlanks(text.substr(begin, at - begin));
            if (!part.empty()) { parts.push_back(part); }
            begin = at + 1;
        }
        if ((c == '}' || c == ']') && !isEnd) { --depth; }
        ++at;
    }
    return parts;
}

std::vector<JsonView> JsonView::ReadElements() const {
    std::vector<JsonView> elements;
    if (!IsArray()) { return elements; }
    for (const std::string_view part : Split()) { elements.emplace_back(part); }
    return elements;
}

std::vector<std::pair<std::string, JsonView>> JsonView::ReadMembers() const {
    std::vector<std::pair<std::string, JsonView>> members;
    if (!IsObject()) { return members; }
    for (const std::string_view part : Split()) {
        const std::size_t end = SkipString(part, 0);
        members.emplace_back(JsonView(part.substr(0, end)).GetString(),
                             JsonView(part.substr(part.find(':', end) + 1)));
    }
    return members;
}

std::optional<JsonView> JsonView::Find(const std::string& name) const {
    for (const auto& [key, value] : ReadMembers()) {
        if (key == name) { return value; }
    }
    return std::nullopt;
}

std::string JsonView::GetString() const {
    return json::parse(text).get<std::string>();
}

double JsonView::GetNumber() const {
    return json::parse(text).get<double>();
}

std::string JsonView::Format(std::size_t indentation) const {
    std::string formatted;
    std::size_t depth = 0;
    const auto breakLine = [&] {
        if (indentation > 0) { formatted += "\n" + std::string(depth * indentation, ' '); }
    };
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        const std::size_t end = c == '"' ? SkipString(text, at) : at + 1;
        const std::string_view token = text.substr(at, end - at);
        at = end;
        if (IsSpace(c)) { continue; }
        const bool isOpened =
            !formatted.empty() && (formatted.back() == '{' || formatted.back() == '[');
        const bool isClosing = c == '}' || c == ']';
        if (isClosing) { --depth; }
        if (isOpened != isClosing) { breakLine(); }
        formatted += token;
        if (c == '{' || c == '[') { ++depth; }
        if (c == ',') { breakLine(); }
        if (c == ':' && indentation > 0) { formatted += ' '; }
    }
    return formatted;
}

} // namespace VarnelBase
