#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "StudyFixture.h"

namespace VarnelBase::Studies {
namespace {

/// JSON whose quotes are written as apostrophes.
std::string Quote(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}

class DefinitionTest : public StudyFixture {};

TEST_F(DefinitionTest, MakesThePointsThatItsParametersDescribe) {
    Write(GetPath("points.csv"),
          "\xEF\xBB\xBFspan,\"the, load\",name\r\n10,1e1,\"say \"\"a\"\"\"\r\n\r\n20,x,true\r\n");
    Write(GetPath("points.jsonl"), "{\"s\": {\"deep\": 1}, \"unused\": 0}\n{\"s\": [2]}");
    const struct {
        const char* parameters;
        const char* bodies;
    } cases[] = {
        {"{'pointer': '/a', 'values': [1, 'x', null]}", "{'a':1} {'a':'x'} {'a':null} "},
        {"{'pointer': '/a', 'from': 0, 'to': 0.3, 'step': 0.1}",
         "{'a':0} {'a':0.1} {'a':0.2} {'a':0.3} "},
        {"{'pointer': '/a', 'from': 5, 'to': 1, 'step': -2}", "{'a':5} {'a':3} {'a':1} "},
        {"{'pointer': '/a', 'from': 0, 'to': 1, 'count': 3}", "{'a':0} {'a':0.5} {'a':1} "},
        {"{'pointer': '/a', 'values': [1, 2]}, {'pointer': '/b/0', 'values': [3, 4]}",
         "{'a':1,'b':[3]} {'a':1,'b':[4]} {'a':2,'b':[3]} {'a':2,'b':[4]} "},
        {"{'zip': [{'pointer': '/a', 'values': [1, 2]},"
         "         {'pointer': '/b', 'from': 3, 'to': 4, 'count': 2}]}",
         "{'a':1,'b':3} {'a':2,'b':4} "},
        {"{'file': 'points.csv', 'columns': [{'column': 'the, load', 'pointer': '/l'},"
         "                                   {'column': 'name', 'pointer': '/n'}]}",
         "{'l':10.0,'n':'say \\'a\\''} {'l':'x','n':true} "},
        {"{'file': 'points.csv', 'columns': [{'column': 'span', 'pointer': '/s'}]}",
         "{'s':10} {'s':20} "},
        {"{'file': 'points.jsonl', 'columns': [{'column': 's', 'pointer': '/s'}]}",
         "{'s':{'deep':1}} {'s':[2]} "},
        {"{'sample': 'sobol', 'points': 3, 'of': [{'pointer': '/a', 'from': 0, 'to': 8},"
         "            {'pointer': '/b', 'from': 1, 'to': 4, 'whole': true}]}",
         "{'a':4,'b':3} {'a':6,'b':2} {'a':2,'b':4} "},
    };
    for (const auto& [parameters, bodies] : cases) {
        SCOPED_TRACE(parameters);
        definition = ReadStudy(
            Quote("{'simulation': 's', 'parameters': [" + std::string(parameters) + "]}"));
        const PointSet points(definition);
        std::string made;
        for (std::size_t number = 0; number < points.GetCount(); ++number) {
            made += points.BuildBody(number).dump() + " ";
        }
        EXPECT_EQ(made, Quote(bodies));
    }
}

TEST_F(DefinitionTest, NamesLineMemberAndReasonOfEveryError) {
    Write(GetPath("short.csv"), "a,b\n1,2\n3\n");
    Write(GetPath("empty.csv"), "a,b\n");
    Write(GetPath("broken.csv"), "a,b\n1,2\n\"3,4\n");
    std::filesystem::create_directory(GetPath("folder.csv"));
    Write(GetPath("wrong.jsonl"), "{\"a\": 1}\n[2]\n");
    const auto vary = [](const std::string& parameters, const std::string& more = "") {
        return "{'simulation': 's', " + more + "'parameters': [" + parameters + "]}";
    };
    const auto readColumn = [&vary](const std::string& file, const std::string& name) {
        return vary("{'file': '" + file + "', 'columns': [{'column': '" + name +
                    "', 'pointer': '/" + name + "'}]}");
    };
    const std::string one = "{'pointer': '/a', 'values': [1]}";
    const struct {
        std::string text;
        const char* problem; ///< after the path of the folder
    } cases[] = {
        {"{\n  'simulation': 's',\n", "study.json:3: this is not valid JSON"},
        {"[]", "study.json:1: the document: must be an object"},
        {"{\n'parameters': [{}]}", "study.json:1: /simulation: is missing"},
        {"{'simulation': 's',\n'base': {}, // a comment\n'base': {}}",
         "study.json:3: /base: the member is given twice"},
        {vary("\n{'pointer': 'span', 'values': [1]}"),
         "study.json:2: /parameters/0/pointer: 'span' is not a JSON pointer such as /span or "
         "/loads/0"},
        {vary("\n{'pointer': '/a', 'values': []}"),
         "study.json:2: /parameters/0/values: must be a non-empty array"},
        {vary("{'pointer': '/a', 'values': [1],\n'uint': 'm'}"),
         "study.json:2: /parameters/0/uint: is not known here"},
        {vary("{'pointer': '/a', 'from': 1, 'to': 2,\n'step': -1}"),
         "study.json:2: /parameters/0/step: does not lead from 'from' to 'to'"},
        {vary("{'pointer': '/a', 'from': 1, 'to': 2,\n'step': 0}"),
         "study.json:2: /parameters/0/step: does not lead from 'from' to 'to'"},
        {vary(one + ", {'pointer': '/a/b', 'values': [1]}", "\n"),
         "study.json:2: /parameters: sets /a/b twice, by /a and /a/b"},
        {vary("{'pointer': '/a/b', 'values': [1]}", "'base': {'a': 1},\n"),
         "study.json:2: /parameters: the base document has no place for /a/b"},
        {vary("{'zip': [" + one + ",\n{'pointer': '/b', 'values': [1, 2]}]}"),
         "study.json:2: /parameters/0/zip/1/pointer: has 2 values, the first column 1"},
        {vary("{'pointer': '/a', 'from': 0, 'to': 1, 'count': 9999},\n"
              "{'pointer': '/b', 'from': 0, 'to': 1, 'count': 9999}"),
         "study.json:1: /parameters: make more than 10000000 points"},
        {vary("{'sample': 'sobol', 'points': 4, 'of': [{'pointer': '/a', 'from': 1,\n'to': 1}]}"),
         "study.json:2: /parameters/0/of/0/to: must be greater than 'from'"},
        {readColumn("short.csv", "b"), "short.csv:3: the row has 1 fields, the header line 2"},
        {readColumn("short.csv", "c"), "short.csv:1: there is no column 'c'"},
        {readColumn("empty.csv", "a"), "empty.csv:1: there are no rows"},
        {readColumn("broken.csv", "a"),
         "broken.csv:3: error parsing data while strict checking enabled"},
        {readColumn("wrong.jsonl", "a"), "wrong.jsonl:2: this is not a JSON object"},
        {readColumn("folder.csv", "a"), "folder.csv: cannot be read: Is a directory"},
        {readColumn("missing.csv", "a"), "missing.csv: cannot be read: No such file or directory"},
        {vary(one, "'limits': {\n'deadline': '2 hours'}, "),
         "study.json:2: /limits/deadline: must be a time such as '90s', '30m', '8h' or '2d'"},
        {vary(one, "'execution': {\n'status': '/phase'}, "),
         "study.json:2: /execution/status: is not known here"},
        {vary(one, "'limits': {\n'concurrent': 0}, "),
         "study.json:2: /limits/concurrent: must be a whole number from 1 to 10000000"},
    };
    for (const auto& [text, problem] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(CatchMessage([&, &study = text] { ReadStudy(Quote(study)); }),
                  GetPath(Quote(problem)));
    }
}

TEST_F(DefinitionTest, IsWrittenAsAnExampleThatCanBeRead) {
    definition = ReadStudy(WriteExampleDefinition("a \"quoted\" simulation"));
    EXPECT_EQ(definition.simulation, "a \"quoted\" simulation");
    EXPECT_EQ(PointSet(definition).GetCount(), 15U);
}

/// Each of 50 equal intervals holds one point in every dimension.
TEST_F(DefinitionTest, FillsALatinHypercubeByTheSeedAlone) {
    const auto read = [this](const std::string& seed) {
        return ReadStudy(Quote("{'simulation': 's', 'parameters': [{'seed': " + seed + R"(,
            'sample': 'latin-hypercube', 'points': 50, 'of': [
                {'pointer': '/a', 'from': 0, 'to': 50}, {'pointer': '/b', 'from': 0, 'to': 50}]}]})"));
    };
    const Definition first = read("1");
    std::set<int> a;
    std::set<int> b;
    for (const std::vector<json>& row : first.axes.at(0).rows) {
        a.insert(static_cast<int>(row.at(0).get<double>()));
        b.insert(static_cast<int>(row.at(1).get<double>()));
    }
    EXPECT_EQ(a.size(), 50U);
    EXPECT_EQ(b.size(), 50U);
    EXPECT_EQ(read("1").axes.at(0).rows, first.axes.at(0).rows);
    EXPECT_NE(read("2").axes.at(0).rows, first.axes.at(0).rows);
}

} // namespace
} // namespace VarnelBase::Studies
