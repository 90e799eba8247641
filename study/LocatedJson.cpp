#include "LocatedJson.h"

#include <TrackingIterator.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

namespace VarnelBase::Studies {

namespace {

/// Notes where each value of a document stands. The parser has read no further than to the end of
/// the token that it reports.
class LineRecorder : public json::json_sax_t {
public:
    LineRecorder(LocatedJson& recordedInto, const char* start)
        : furthestRead(start), result(recordedInto), counted(start) {}

    const char* furthestRead; ///< by the parser

    bool null() override { return RecordScalar(); }
    bool boolean(bool /*value*/) override { return RecordScalar(); }
    bool number_integer(number_integer_t /*value*/) override { return RecordScalar(); }
    bool number_unsigned(number_unsigned_t /*value*/) override { return RecordScalar(); }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
        return RecordScalar();
    }
    bool string(string_t& /*value*/) override { return RecordScalar(); }
    bool binary(binary_t& /*value*/) override { return RecordScalar(); }
    bool start_object(std::size_t /*size*/) override { return Open(false); }
    bool start_array(std::size_t /*size*/) override { return Open(true); }
    bool end_object() override { return Close(); }
    bool end_array() override { return Close(); }
    bool key(string_t& name) override {
        path.back().pointer = path.back().base / name;
        const std::string here = path.back().pointer.to_string();
        if (!result.lines.emplace(here, CountLines()).second) {
            throw FileError(result.file, CountLines(), here + ": the member is given twice");
        }
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const json::exception& /*error*/) override {
        throw FileError(result.file, CountLines(), "this is not valid JSON");
    }

private:
    struct Level {
        json::json_pointer base;
        json::json_pointer pointer; ///< of the value that comes next
        bool isArray = false;
        std::size_t index = 0;
    };

    /// The line that the parser has got to.
    std::size_t CountLines() {
        line += static_cast<std::size_t>(std::count(counted, furthestRead, '\n'));
        counted = furthestRead;
        return line;
    }
    /// Notes the value that begins here and tells where it stands.
    json::json_pointer Record() {
        if (path.empty()) {
            result.lines.emplace("", CountLines());
            return json::json_pointer();
        }
        Level& level = path.back();
        if (level.isArray) { level.pointer = level.base / level.index++; }
        result.lines.emplace(level.pointer.to_string(), CountLines());
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
    const char* counted; ///< the beginning of what `line` does not count yet
    std::size_t line = 1;
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
    LineRecorder recorder(result, text.data());
    json::sax_parse(TrackingIterator(text.data(), recorder.furthestRead),
                    TrackingIterator(text.data() + text.size(), recorder.furthestRead), &recorder,
                    json::input_format_t::json, true, true);
    result.document = json::parse(text, nullptr, true, true);
    return result;
}

std::string ReadWholeFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    std::array<char, 4096> chunk{};
    while (stream.read(chunk.data(), chunk.size()) || stream.gcount() > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (!stream.is_open() || stream.bad()) {
        throw std::runtime_error(file + ": cannot be read: " + std::strerror(errno));
    }
    // Spreadsheets begin their files with a byte order mark.
    const std::string mark = "\xEF\xBB\xBF";
    return text.compare(0, mark.size(), mark) == 0 ? text.substr(mark.size()) : text;
}

} // namespace VarnelBase::Studies
