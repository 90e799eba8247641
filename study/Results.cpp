#include "Results.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace VarnelBase::Studies {

namespace {

std::string WriteField(const json& value) {
    std::string text = value.is_null()     ? ""
                       : value.is_string() ? value.get<std::string>()
                                           : value.dump();
    if (text.find_first_of(",\"\r\n") == std::string::npos) { return text; }
    std::string quoted = "\"";
    for (const char c : text) { quoted += c == '"' ? std::string("\"\"") : std::string(1, c); }
    return quoted + "\"";
}

void WriteRow(const std::vector<json>& values, std::ostream& output) {
    for (std::size_t index = 0; index < values.size(); ++index) {
        output << (index == 0 ? "" : ",") << WriteField(values[index]);
    }
    output << "\r\n";
}

/// The value, or null where a point has none yet.
json ReadValue(const json& values, std::size_t index) {
    return values.is_array() && index < values.size() ? values[index] : json();
}

} // namespace

void WriteCsv(Journal& journal, std::ostream& output) {
    const StudyColumns columns = journal.ReadColumns();
    std::vector<json> header{"point", "state", "execution"};
    for (const Quantity& quantity : columns.parameters) {
        header.emplace_back(quantity.pointer.to_string());
    }
    for (const Quantity& quantity : columns.collected) {
        header.emplace_back(quantity.pointer.to_string());
    }
    header.emplace_back("reason");
    WriteRow(header, output);
    journal.VisitPoints(std::nullopt, [&](const PointRecord& record) {
        std::vector<json> row{record.number + 1, NameState(record.state), record.execution};
        for (std::size_t index = 0; index < columns.parameters.size(); ++index) {
            row.push_back(ReadValue(record.parameters, index));
        }
        for (std::size_t index = 0; index < columns.collected.size(); ++index) {
            row.push_back(ReadValue(record.results, index));
        }
        row.emplace_back(record.reason);
        WriteRow(row, output);
    });
}

void WriteJsonLines(Journal& journal, std::ostream& output) {
    const StudyColumns columns = journal.ReadColumns();
    journal.VisitPoints(std::nullopt, [&](const PointRecord& record) {
        json line = json::object({{"point", record.number + 1},
                                  {"id", record.id},
                                  {"state", NameState(record.state)},
                                  {"execution", record.execution},
                                  {"parameters", json::object()},
                                  {"results", json::object()}});
        for (std::size_t index = 0; index < columns.parameters.size(); ++index) {
            line["parameters"][columns.parameters[index].pointer.to_string()] =
                ReadValue(record.parameters, index);
        }
        for (std::size_t index = 0; index < columns.collected.size(); ++index) {
            line["results"][columns.collected[index].pointer.to_string()] =
                ReadValue(record.results, index);
        }
        if (!record.reason.empty()) { line["reason"] = record.reason; }
        output << line.dump() << '\n';
    });
}

} // namespace VarnelBase::Studies
