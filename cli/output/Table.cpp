#include "output/Table.h"

#include <Utf8Text.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace VarnelBase {

namespace {

using Row = std::vector<std::string>;

constexpr std::size_t Gap = 2;
constexpr std::size_t NarrowestColumn = 6;

/// Members that come first, in this order; the others follow in alphabetical order.
constexpr std::array<const char*, 9> FirstColumns{
    "id", "name", "email", "role", "state", "progress", "createdAt", "value", "source"};

struct Column {
    std::string name;
    std::size_t width = 0;

    bool IsIdentifier() const {
        const std::string ending = name.substr(name.size() - std::min<std::size_t>(name.size(), 2));
        return name == "id" || ending == "Id";
    }
};

std::vector<std::string> OrderMembers(std::set<std::string> members) {
    std::vector<std::string> ordered;
    for (const char* name : FirstColumns) {
        if (members.erase(name) > 0) { ordered.emplace_back(name); }
    }
    ordered.insert(ordered.end(), members.begin(), members.end());
    return ordered;
}

/// Makes columns smaller from the widest on until a line fits. Columns at the end are left out when
/// even narrow ones do not fit; the first one stays.
std::vector<std::string> FitColumns(std::vector<Column>& columns, std::size_t room) {
    std::vector<std::string> omitted;
    while (room > 0 && !columns.empty()) {
        std::size_t total = Gap * (columns.size() - 1);
        Column* widest = nullptr;
        for (Column& column : columns) {
            total += column.width;
            if (column.IsIdentifier() || column.width <= NarrowestColumn) { continue; }
            if (widest == nullptr || column.width > widest->width) { widest = &column; }
        }
        if (total <= room) { break; }
        if (widest != nullptr) {
            --widest->width;
        } else if (columns.size() > 1) {
            omitted.insert(omitted.begin(), columns.back().name);
            columns.pop_back();
        } else {
            break;
        }
    }
    return omitted;
}

std::string FormatRow(const Row& row, const std::vector<Column>& columns) {
    std::string line;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string cell = CutToWidth(row[i], columns[i].width);
        line += cell;
        if (i + 1 < columns.size()) {
            line.append(columns[i].width - MeasureWidth(cell) + Gap, ' ');
        }
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

Table TabulateRows(const std::vector<Row>& rows, const std::vector<std::string>& names,
                   std::size_t room) {
    std::vector<Column> columns;
    for (std::size_t i = 0; i < names.size(); ++i) {
        columns.push_back({names[i]});
        for (const Row& row : rows) {
            columns[i].width = std::max(columns[i].width, MeasureWidth(row[i]));
        }
    }
    Table table;
    table.omitted = FitColumns(columns, room);
    for (const Row& row : rows) { table.lines.push_back(FormatRow(row, columns)); }
    return table;
}

Table TabulateMembers(const JsonView& object) {
    std::map<std::string, std::vector<JsonView>> values;
    std::set<std::string> names;
    for (const auto& [name, value] : object.ReadMembers()) {
        names.insert(name);
        values[name].push_back(value);
    }
    std::vector<Row> rows;
    for (const std::string& name : OrderMembers(names)) {
        for (const JsonView& value : values.at(name)) {
            rows.push_back({MakePrintable(name), DescribeValue(value)});
        }
    }
    return TabulateRows(rows, {"name", "value"}, 0);
}

Table TabulateItems(const JsonView& items, std::size_t room) {
    std::vector<std::map<std::string, std::string>> cells;
    std::set<std::string> members;
    for (const JsonView& item : items.ReadElements()) {
        std::map<std::string, std::string>& row = cells.emplace_back();
        if (!item.IsObject()) { row[""] = DescribeValue(item); }
        for (const auto& [name, value] : item.ReadMembers()) {
            std::string& cell = row[name];
            cell += (cell.empty() ? "" : " ") + DescribeValue(value);
        }
        for (const auto& [name, text] : row) { members.insert(name); }
    }
    const std::vector<std::string> names = OrderMembers(members);
    const bool hasHeading = !names.empty() && names != std::vector<std::string>{""};
    std::vector<Row> rows;
    Row titles;
    for (const std::string& name : names) { titles.push_back(MakePrintable(name)); }
    if (hasHeading) { rows.push_back(titles); }
    for (const auto& texts : cells) {
        Row& row = rows.emplace_back();
        for (const std::string& name : names) {
            const auto found = texts.find(name);
            row.push_back(found == texts.end() ? "" : found->second);
        }
    }
    Table table = TabulateRows(rows, titles, room);
    table.hasHeading = hasHeading;
    return table;
}

} // namespace

std::string DescribeValue(const JsonView& value) {
    if (value.IsNull()) { return ""; }
    return MakePrintable(value.IsString() ? value.GetString() : value.Format(0));
}

std::optional<JsonView> FindItems(const JsonView& document) {
    const std::optional<JsonView> items = document.IsArray() ? document : document.Find("items");
    return items && items->IsArray() ? items : std::nullopt;
}

Table MakeTable(const JsonView& document, std::size_t columns) {
    const std::optional<JsonView> items = FindItems(document);
    if (items) { return TabulateItems(*items, columns); }
    if (document.IsObject()) { return TabulateMembers(document); }
    return {{DescribeValue(document)}, false, {}};
}

} // namespace VarnelBase
