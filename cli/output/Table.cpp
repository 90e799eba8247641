#include "output/Table.h"

#include <algorithm>
#include <array>
#include <set>
#include <vector>

#include "output/Utf8Text.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

using Row = std::vector<std::string>;

constexpr std::size_t Gap = 2;
constexpr std::size_t NarrowestColumn = 6;

/// Members that come first, in this order; the others follow in alphabetical order.
constexpr std::array<const char*, 9> FirstColumns{
    "id", "name", "email", "role", "state", "progress", "createdAt", "value", "source"};

void CollectMembers(const json& item, std::set<std::string>& members) {
    if (!item.is_object()) { return; }
    for (const auto& member : item.items()) { members.insert(member.key()); }
}

std::vector<std::string> OrderMembers(std::set<std::string> members) {
    std::vector<std::string> ordered;
    for (const char* name : FirstColumns) {
        if (members.erase(name) > 0) { ordered.emplace_back(name); }
    }
    ordered.insert(ordered.end(), members.begin(), members.end());
    return ordered;
}

Row MakeRow(const json& item, const std::vector<std::string>& columns) {
    if (columns.empty()) { return {DescribeValue(item)}; }
    Row row;
    for (const std::string& column : columns) {
        row.push_back(item.is_object() && item.contains(column) ? DescribeValue(item.at(column))
                                                                : std::string());
    }
    return row;
}

/// Widths that the columns need, made smaller from the widest on until a line fits. Columns at the
/// end are left out when even narrow ones do not fit.
std::vector<std::size_t> FitColumns(const std::vector<Row>& rows, std::size_t columns) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], MeasureWidth(row[i]));
        }
    }
    if (columns == 0) { return widths; }
    for (std::size_t& width : widths) { width = std::min(width, columns); }
    while (!widths.empty()) {
        std::size_t total = Gap * (widths.size() - 1);
        for (const std::size_t width : widths) { total += width; }
        if (total <= columns) { break; }
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest > NarrowestColumn) {
            --*widest;
        } else {
            widths.pop_back();
        }
    }
    return widths;
}

std::string FormatRow(const Row& row, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        const std::string cell = CutToWidth(row[i], widths[i]);
        line += cell;
        if (i + 1 < widths.size()) { line.append(widths[i] - MeasureWidth(cell) + Gap, ' '); }
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

} // namespace

std::string DescribeValue(const json& value) {
    if (value.is_null()) { return ""; }
    return MakePrintable(value.is_string() ? value.get<std::string>() : value.dump());
}

const json* FindItems(const json& document) {
    if (document.is_array()) { return &document; }
    if (!document.is_object()) { return nullptr; }
    const auto items = document.find("items");
    return items != document.end() && items->is_array() ? &*items : nullptr;
}

std::string FormatTable(const json& document, std::size_t columns,
                        std::string (*heading)(const std::string&)) {
    const json* items = FindItems(document);
    if (items == nullptr && !document.is_object()) { return DescribeValue(document) + "\n"; }

    std::vector<Row> rows;
    std::set<std::string> members;
    if (items == nullptr) {
        CollectMembers(document, members);
        for (const std::string& name : OrderMembers(members)) {
            rows.push_back({MakePrintable(name), DescribeValue(document.at(name))});
        }
    } else {
        for (const json& item : *items) { CollectMembers(item, members); }
        const std::vector<std::string> names = OrderMembers(members);
        Row titles;
        for (const std::string& name : names) { titles.push_back(MakePrintable(name)); }
        if (!titles.empty()) { rows.push_back(titles); }
        for (const json& item : *items) { rows.push_back(MakeRow(item, names)); }
    }
    const std::vector<std::size_t> widths = FitColumns(rows, columns);
    std::string table;
    for (const Row& row : rows) {
        const std::string line = FormatRow(row, widths);
        const bool isHeading = table.empty() && items != nullptr && !members.empty();
        table += (isHeading ? heading(line) : line) + "\n";
    }
    return table;
}

} // namespace VarnelBase
