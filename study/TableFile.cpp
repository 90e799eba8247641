#include "TableFile.h"

#include <csv.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "LocatedJson.h"

namespace VarnelBase::Studies {

namespace {

using Row = std::vector<json>;

bool EndsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

json ReadField(const std::string& text) {
    json value = json::parse(text, nullptr, false);
    return value.is_number() || value.is_boolean() ? value : json(text);
}

/// Calls `take` with each line of a text, its end included, and the line's number.
template <typename Take>
void ForEachLine(const std::string& text, Take take) {
    std::size_t number = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        take(std::string_view(text).substr(start, end - start), ++number);
        start = end;
    }
}

struct CsvRow {
    std::vector<std::string> fields;
    std::size_t line = 0; ///< the one on which it ends
};

/// What the CSV parser has found so far; the last row is the one that it reads.
struct CsvContents {
    std::vector<CsvRow> rows{{}};
    std::size_t line = 0;

    static void TakeField(void* text, std::size_t size, void* contents) {
        auto& rows = static_cast<CsvContents*>(contents)->rows;
        rows.back().fields.emplace_back(static_cast<char*>(text), size);
    }
    static void TakeRowEnd(int /*terminator*/, void* target) {
        auto* contents = static_cast<CsvContents*>(target);
        contents->rows.back().line = contents->line;
        contents->rows.emplace_back();
    }
};

std::vector<CsvRow> ParseCsv(const std::string& file) {
    CsvContents contents;
    csv_parser parser;
    if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) { throw std::bad_alloc(); }
    const std::unique_ptr<csv_parser, decltype(&csv_free)> owner(&parser, csv_free);
    const auto refuse = [&] {
        throw FileError(file, contents.line, csv_strerror(csv_error(&parser)));
    };
    ForEachLine(ReadWholeFile(file), [&](std::string_view text, std::size_t number) {
        contents.line = number;
        if (csv_parse(&parser, text.data(), text.size(), CsvContents::TakeField,
                      CsvContents::TakeRowEnd, &contents) != text.size()) {
            refuse();
        }
    });
    if (csv_fini(&parser, CsvContents::TakeField, CsvContents::TakeRowEnd, &contents) != 0) {
        refuse();
    }
    contents.rows.pop_back();
    return std::move(contents.rows);
}

std::vector<Row> ReadCsv(const std::string& file, const std::vector<std::string>& columns) {
    const std::vector<CsvRow> contents = ParseCsv(file);
    if (contents.empty()) { throw FileError(file, 1, "there is no header line"); }

    const std::vector<std::string>& header = contents.front().fields;
    std::vector<std::size_t> positions;
    for (const std::string& column : columns) {
        const auto found = std::find(header.begin(), header.end(), column);
        if (found == header.end()) {
            throw FileError(file, contents.front().line, "there is no column \"" + column + "\"");
        }
        positions.push_back(static_cast<std::size_t>(found - header.begin()));
    }

    std::vector<Row> rows;
    for (auto source = contents.begin() + 1; source != contents.end(); ++source) {
        if (source->fields.size() != header.size()) {
            throw FileError(file, source->line,
                            "the row has " + std::to_string(source->fields.size()) +
                                " fields, the header line " + std::to_string(header.size()));
        }
        Row row;
        for (const std::size_t position : positions) {
            row.push_back(ReadField(source->fields[position]));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<Row> ReadJsonLines(const std::string& file, const std::vector<std::string>& columns) {
    std::vector<Row> rows;
    ForEachLine(ReadWholeFile(file), [&](std::string_view text, std::size_t line) {
        json object = json::parse(text.begin(), text.end(), nullptr, false);
        if (!object.is_object()) { throw FileError(file, line, "this is not a JSON object"); }
        Row row;
        for (const std::string& column : columns) {
            const auto member = object.find(column);
            if (member == object.end()) {
                throw FileError(file, line, "there is no member \"" + column + "\"");
            }
            row.push_back(std::move(*member));
        }
        rows.push_back(std::move(row));
    });
    return rows;
}

} // namespace

std::vector<std::vector<json>> ReadTableFile(const std::string& file,
                                             const std::vector<std::string>& columns) {
    std::vector<Row> rows =
        EndsWith(file, ".jsonl") ? ReadJsonLines(file, columns) : ReadCsv(file, columns);
    if (rows.empty()) { throw FileError(file, 1, "there are no rows"); }
    return rows;
}

} // namespace VarnelBase::Studies
