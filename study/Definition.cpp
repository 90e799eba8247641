#include "Definition.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <utility>

#include "LocatedJson.h"
#include "Samples.h"
#include "TableFile.h"

namespace VarnelBase::Studies {

namespace {

constexpr std::size_t MaxPoints = 10'000'000;

/// An object of the file: reads its members, says which one cannot be used, and knows those that
/// have been asked for, so that a misspelt one is not silently ignored.
class ObjectReader {
public:
    ObjectReader(const LocatedJson& source, json::json_pointer where)
        : file(source), pointer(std::move(where)), object(file.document.at(pointer)) {
        if (!object.is_object()) { file.Refuse(pointer, "must be an object"); }
    }

    bool Has(const std::string& name) {
        known.insert(name);
        return object.contains(name);
    }

    [[noreturn]] void Refuse(const std::string& name, const std::string& reason) const {
        file.Refuse(pointer / name, reason);
    }

    const json& Require(const std::string& name) {
        if (!Has(name)) { Refuse(name, "is missing"); }
        return object.at(name);
    }

    std::string ReadText(const std::string& name) {
        const json& member = Require(name);
        if (!member.is_string() || member.get_ref<const std::string&>().empty()) {
            Refuse(name, "must be a non-empty string");
        }
        return member.get<std::string>();
    }

    double ReadNumber(const std::string& name) {
        const json& member = Require(name);
        if (!member.is_number()) { Refuse(name, "must be a number"); }
        return member.get<double>();
    }

    std::size_t ReadCount(const std::string& name, std::size_t min) {
        const json& member = Require(name);
        if (!member.is_number_unsigned() || member.get<std::size_t>() < min ||
            member.get<std::size_t>() > MaxPoints) {
            Refuse(name, "must be a whole number from " + std::to_string(min) + " to " +
                             std::to_string(MaxPoints));
        }
        return member.get<std::size_t>();
    }

    const json& ReadArray(const std::string& name) {
        const json& member = Require(name);
        if (!member.is_array() || member.empty()) { Refuse(name, "must be a non-empty array"); }
        return member;
    }

    std::vector<std::string> ReadTexts(const std::string& name) {
        std::vector<std::string> texts;
        for (const json& element : ReadArray(name)) {
            if (!element.is_string()) { Refuse(name, "must be an array of strings"); }
            texts.push_back(element.get<std::string>());
        }
        return texts;
    }

    json::json_pointer ReadPointer(const std::string& name) {
        return ParsePointer(name, ReadText(name));
    }

    json::json_pointer ParsePointer(const std::string& name, const std::string& text) const {
        try {
            return json::json_pointer(text);
        } catch (const json::parse_error&) {
            Refuse(name, "\"" + text + "\" is not a JSON pointer such as /span or /loads/0");
        }
    }

    ObjectReader Open(const std::string& name) {
        Require(name);
        return {file, pointer / name};
    }

    std::vector<ObjectReader> OpenEach(const std::string& name) {
        std::vector<ObjectReader> elements;
        for (std::size_t index = 0; index < ReadArray(name).size(); ++index) {
            elements.emplace_back(file, pointer / name / index);
        }
        return elements;
    }

    void RefuseOthers() const {
        for (const auto& member : object.items()) {
            if (known.count(member.key()) == 0) { Refuse(member.key(), "is not known here"); }
        }
    }

private:
    const LocatedJson& file;
    json::json_pointer pointer;
    const json& object;
    std::set<std::string> known;
};

Quantity ReadQuantity(ObjectReader& source) {
    return {source.ReadPointer("pointer"), source.Has("unit") ? source.ReadText("unit") : ""};
}

/// The number without the noise of binary fractions: 0.3, not 0.30000000000000004.
json RoundToDecimal(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.14g", value);
    return json::parse(text);
}

std::vector<json> ReadRange(ObjectReader& source) {
    const double from = source.ReadNumber("from");
    const double to = source.ReadNumber("to");
    std::size_t count = 0;
    double step = 0;
    if (source.Has("count")) {
        count = source.ReadCount("count", 2);
        step = (to - from) / static_cast<double>(count - 1);
    } else {
        if (!source.Has("step")) { source.Refuse("step", "is missing; \"count\" will do as well"); }
        step = source.ReadNumber("step");
        const double steps = (to - from) / step;
        if (!(steps >= 0 && steps < static_cast<double>(MaxPoints))) {
            source.Refuse("step", R"(does not lead from "from" to "to")");
        }
        // The end belongs to the range even where a step of 0.1 misses it by a hair.
        count = static_cast<std::size_t>(std::floor(steps + 1e-9)) + 1;
    }
    std::vector<json> values;
    for (std::size_t index = 0; index < count; ++index) {
        values.push_back(RoundToDecimal(from + step * static_cast<double>(index)));
    }
    return values;
}

/// The values of one parameter: a list or a range.
std::vector<json> ReadValues(ObjectReader& source) {
    if (!source.Has("values")) { return ReadRange(source); }
    const json& values = source.ReadArray("values");
    return {values.begin(), values.end()};
}

Axis ReadSingle(ObjectReader& source) {
    Axis axis;
    axis.parameters.push_back(ReadQuantity(source));
    for (json& value : ReadValues(source)) { axis.rows.push_back({std::move(value)}); }
    return axis;
}

Axis ReadZip(ObjectReader& source) {
    Axis axis;
    for (ObjectReader& column : source.OpenEach("zip")) {
        axis.parameters.push_back(ReadQuantity(column));
        std::vector<json> values = ReadValues(column);
        column.RefuseOthers();
        if (axis.parameters.size() == 1) { axis.rows.resize(values.size()); }
        if (values.size() != axis.rows.size()) {
            column.Refuse("pointer", "has " + std::to_string(values.size()) +
                                         " values, the first column " +
                                         std::to_string(axis.rows.size()));
        }
        for (std::size_t row = 0; row < values.size(); ++row) {
            axis.rows[row].push_back(std::move(values[row]));
        }
    }
    return axis;
}

Axis ReadTable(ObjectReader& source, const std::string& directory) {
    const auto file = std::filesystem::path(directory) / source.ReadText("file");
    Axis axis;
    std::vector<std::string> columns;
    for (ObjectReader& column : source.OpenEach("columns")) {
        columns.push_back(column.ReadText("column"));
        axis.parameters.push_back(ReadQuantity(column));
        column.RefuseOthers();
    }
    axis.rows = ReadTableFile(file.string(), columns);
    return axis;
}

Axis ReadSample(ObjectReader& source) {
    struct Interval {
        double from;
        double to;
        bool isWhole;
    };
    const std::string kind = source.ReadText("sample");
    const std::size_t count = source.ReadCount("points", 1);
    const std::size_t seed = source.Has("seed") ? source.ReadCount("seed", 0) : 0;
    Axis axis;
    std::vector<Interval> intervals;
    for (ObjectReader& parameter : source.OpenEach("of")) {
        axis.parameters.push_back(ReadQuantity(parameter));
        Interval interval{parameter.ReadNumber("from"), parameter.ReadNumber("to"),
                          parameter.Has("whole")};
        if (!(interval.from < interval.to)) {
            parameter.Refuse("to", "must be greater than \"from\"");
        }
        if (interval.isWhole && parameter.Require("whole") != json(true)) {
            parameter.Refuse("whole", "must be true, or missing");
        }
        parameter.RefuseOthers();
        intervals.push_back(interval);
    }
    UnitPoints points;
    if (kind == "latin-hypercube") {
        points = SampleLatinHypercube(count, intervals.size(), seed);
    } else if (kind == "sobol") {
        if (intervals.size() > MaxSobolDimensions) {
            source.Refuse("of", "has more than " + std::to_string(MaxSobolDimensions) +
                                    " parameters, for which no Sobol sequence is known");
        }
        points = SampleSobol(count, intervals.size(), seed);
    } else {
        source.Refuse("sample", R"(must be "latin-hypercube" or "sobol")");
    }
    for (const std::vector<double>& point : points) {
        std::vector<json>& row = axis.rows.emplace_back();
        for (std::size_t index = 0; index < intervals.size(); ++index) {
            const Interval& interval = intervals[index];
            // Each whole number gets the same share of the interval.
            const double width = interval.to - interval.from + (interval.isWhole ? 1 : 0);
            const double value = interval.from + point[index] * width;
            row.push_back(RoundToDecimal(interval.isWhole ? std::floor(value) : value));
        }
    }
    return axis;
}

Axis ReadAxis(ObjectReader& source, const std::string& directory) {
    Axis axis = source.Has("zip")      ? ReadZip(source)
                : source.Has("file")   ? ReadTable(source, directory)
                : source.Has("sample") ? ReadSample(source)
                                       : ReadSingle(source);
    source.RefuseOthers();
    return axis;
}

/// Refuses a parameter that is set twice, lies within another one, or has no place in the base.
void CheckParameters(const Definition& definition, const ObjectReader& root) {
    std::set<std::string> seen;
    json document = definition.base;
    for (const Axis& axis : definition.axes) {
        for (const Quantity& parameter : axis.parameters) {
            const std::string name = parameter.pointer.to_string();
            for (const std::string& other : seen) {
                const std::string& shorter = std::min(name, other);
                const std::string& longer = std::max(name, other);
                if (longer == shorter ||
                    longer.compare(0, shorter.size() + 1, shorter + "/") == 0) {
                    root.Refuse("parameters",
                                "sets " + longer + " twice, by " + other + " and " + name);
                }
            }
            seen.insert(name);
            try {
                document[parameter.pointer] = nullptr;
            } catch (const json::exception&) {
                root.Refuse("parameters", "the base document has no place for " + name);
            }
        }
    }
}

std::chrono::seconds ReadDuration(ObjectReader& source, const std::string& name) {
    static const std::map<char, int> unitSeconds{{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
    const std::string text = source.ReadText(name);
    static const std::regex form("([1-9][0-9]{0,5})([smhd])");
    std::smatch parts;
    if (!std::regex_match(text, parts, form)) {
        source.Refuse(name, R"(must be a time such as "90s", "30m", "8h" or "2d")");
    }
    return std::chrono::seconds(std::stol(parts[1])) * unitSeconds.at(*parts[2].first);
}

Limits ReadLimits(ObjectReader source) {
    Limits limits;
    if (source.Has("concurrent")) { limits.concurrent = source.ReadCount("concurrent", 1); }
    if (source.Has("startsPerMinute")) {
        limits.startsPerMinute = source.ReadCount("startsPerMinute", 1);
    }
    if (source.Has("deadline")) { limits.deadline = ReadDuration(source, "deadline"); }
    if (source.Has("stopAfterFailures")) {
        limits.stopAfterFailures = source.ReadCount("stopAfterFailures", 1);
    }
    source.RefuseOthers();
    return limits;
}

ExecutionShape ReadExecutionShape(ObjectReader source) {
    ExecutionShape shape;
    if (source.Has("id")) { shape.id = source.ReadPointer("id"); }
    if (source.Has("state")) { shape.state = source.ReadPointer("state"); }
    if (source.Has("data")) { shape.data = source.ReadPointer("data"); }
    if (source.Has("createdAt")) { shape.createdAt = source.ReadPointer("createdAt"); }
    if (source.Has("good")) { shape.goodStates = source.ReadTexts("good"); }
    if (source.Has("bad")) { shape.badStates = source.ReadTexts("bad"); }
    source.RefuseOthers();
    return shape;
}

} // namespace

Definition ReadDefinition(const std::string& file) {
    const LocatedJson source = ReadLocatedJson(file);
    ObjectReader root(source, json::json_pointer());
    const std::string directory = std::filesystem::path(file).parent_path().string();

    Definition definition;
    definition.file = file;
    definition.simulation = root.ReadText("simulation");
    definition.base = root.Has("base") ? root.Require("base") : json::object();
    std::size_t points = 1;
    for (ObjectReader& axis : root.OpenEach("parameters")) {
        definition.axes.push_back(ReadAxis(axis, directory));
        points *= definition.axes.back().rows.size();
        if (points > MaxPoints) {
            root.Refuse("parameters", "make more than " + std::to_string(MaxPoints) + " points");
        }
    }
    CheckParameters(definition, root);
    if (root.Has("collect")) {
        for (ObjectReader& quantity : root.OpenEach("collect")) {
            definition.collected.push_back(ReadQuantity(quantity));
            quantity.RefuseOthers();
        }
    }
    if (root.Has("execution")) {
        definition.execution = ReadExecutionShape(root.Open("execution"));
    }
    if (root.Has("mark")) { definition.mark = root.ReadPointer("mark"); }
    if (root.Has("limits")) { definition.limits = ReadLimits(root.Open("limits")); }
    root.RefuseOthers();
    return definition;
}

std::string WriteExampleDefinition(const std::string& simulation) {
    return R"(// A study: the simulation is executed once for each point.
// Try it without sending anything: varnel study plan FILE
{
  // The simulation's identifier, as varnel simulation list shows it.
  "simulation": )" +
           json(simulation).dump() + R"(,

  // The document that each execution starts with; parameters are set in it.
  "base": { "span": 40, "load": 10 },

  // All combinations of these are the points. Each names the member that it sets (RFC 6901), and:
  //   "values": [1, 2, 5]
  //   "from": 0, "to": 10, "step": 2      or "count": 6; both ends belong to it
  //   "zip": [{"pointer": "/a", "values": [1, 2]}, {"pointer": "/b", "values": [3, 4]}]
  //   "file": "points.csv" (or .jsonl), "columns": [{"column": "span", "pointer": "/span"}]
  //   "sample": "latin-hypercube" (or "sobol"), "points": 100, "seed": 1,
  //             "of": [{"pointer": "/span", "from": 20, "to": 80}]     "whole": true for integers
  "parameters": [
    { "pointer": "/span", "unit": "m", "from": 20, "to": 60, "step": 10 },
    { "pointer": "/load", "unit": "kN", "values": [5, 10, 20] }
  ],

  // Members of the finished execution's document to keep.
  "collect": [{ "pointer": "/results/peak", "unit": "mm" }],

  // Where an execution's document has its identifier, its state, the document that it was started
  // with and the time of its start, and the states that end it.
  "execution": {
    "id": "/id", "state": "/state", "data": "/data", "createdAt": "/createdAt",
    "good": ["finished"], "bad": ["failed"]
  },

  // A member that the service ignores, in which each document carries the study's mark. With it an
  // execution whose answer was lost is found again for certain.
  // "mark": "/study",

  "limits": { "concurrent": 4, "startsPerMinute": 120, "stopAfterFailures": 10 }
}
)";
}

} // namespace VarnelBase::Studies
