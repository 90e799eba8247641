#include "LocatedJson.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

namespace VarnelBase::Studies {

namespace {

/// Reads characters and counts the lines that have begun.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* start, std::size_t& lineCount)
        : position(start), line(&lineCount) {}

    reference operator*() const { return *position; }
    CountingIterator& operator++() {
        if (*position++ == '\n') { ++*line; }
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return position == other.position; }
    bool operator!=(const CountingIterator& other) const { return position != other.position; }

private:
    const char* position;
    std::size_t* line;
};

/// Notes where each value of a document stands. The parser has read no further than to the end of
/// the token that it reports.
class LineRecorder {
public:
    using number_integer_t = json::number_integer_t;
    using number_unsigned_t = json::number_unsigned_t;
    using number_float_t = json::number_float_t;
    using string_t = json::string_t;
    using binary_t = json::binary_t;

    LineRecorder(LocatedJson& recordedInto, const std::size_t& currentLine)
        : result(recordedInto), line(currentLine) {}

    // The parser's interface decides these names.
    // NOLINTBEGIN(readability-identifier-naming)
    bool null() { return RecordScalar(); }
    bool boolean(bool /*value*/) { return RecordScalar(); }
    bool number_integer(number_integer_t /*value*/) { return RecordScalar(); }
    bool number_unsigned(number_unsigned_t /*value*/) { return RecordScalar(); }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) { return RecordScalar(); }
    bool string(string_t& /*value*/) { return RecordScalar(); }
    bool binary(binary_t& /*value*/) { return RecordScalar(); }
    bool start_object(std::size_t /*size*/) { return Open(false); }
    bool start_array(std::size_t /*size*/) { return Open(true); }
    bool end_object() { return Close(); }
    bool end_array() { return Close(); }
    bool key(string_t& name) {
        path.back().pointer = path.back().base / name;
        const std::string here = path.back().pointer.to_string();
        if (!result.lines.emplace(here, line).second) {
            throw FileError(result.file, line, here + ": the member is given twice");
        }
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const json::exception& /*error*/) {
        throw FileError(result.file, line, "this is not valid JSON");
    }
    // NOLINTEND(readability-identifier-naming)

private:
    struct Level {
        json::json_pointer base;
        json::json_pointer pointer; ///< of the value that comes next
        bool isArray = false;
        std::size_t index = 0;
    };

    /// Notes the value that begins here and tells where it stands.
    json::json_pointer Record() {
        if (path.empty()) {
            result.lines.emplace("", line);
            return json::json_pointer();
        }
        Level& level = path.back();
        if (level.isArray) { level.pointer = level.base / level.index++; }
        result.lines.emplace(level.pointer.to_string(), line);
        return level.pointer;
    }
    bool RecordScalar() {
        Record();
        return true;
    }
    bool Open(bool isArray) {
        json::json_pointer here = Record();
        path.push_back({std::move(here), json::json_pointer(), isArray, 0});
        return true;
    }
    bool Close() {
        path.pop_back();
        return true;
    }

    LocatedJson& result;
    const std::size_t& line;
    std::vector<Level> path;
};

} // namespace

void LocatedJson::Refuse(const json::json_pointer& pointer, const std::string& reason) const {
    json::json_pointer closest = pointer;
    auto line = lines.find(closest.to_string());
    while (line == lines.end() && !closest.empty()) {
        closest.pop_back();
        line = lines.find(closest.to_string());
    }
    const std::string what = pointer.empty() ? "the document" : pointer.to_string();
    throw FileError(file, line == lines.end() ? 1 : line->second, what + ": " + reason);
}

LocatedJson ReadLocatedJson(const std::string& file) {
    const std::string text = ReadWholeFile(file);
    LocatedJson result;
    result.file = file;
    std::size_t line = 1;
    LineRecorder recorder(result, line);
    json::sax_parse(CountingIterator(text.data(), line),
                    CountingIterator(text.data() + text.size(), line), &recorder,
                    json::input_format_t::json, true, true);
    result.document = json::parse(text, nullptr, true, true);
    return result;
}

std::string ReadWholeFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream.is_open() || stream.bad()) {
        throw std::runtime_error(file + ": cannot be read: " + std::strerror(errno));
    }
    // Spreadsheets begin their files with a byte order mark.
    const std::string mark = "\xEF\xBB\xBF";
    return text.compare(0, mark.size(), mark) == 0 ? text.substr(mark.size()) : text;
}

} // namespace VarnelBase::Studies
