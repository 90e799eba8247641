#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Definition.h"
#include "LocatedJson.h"
#include "PointSet.h"
#include "StudyFolder.h"

namespace VarnelBase::Studies {
namespace {

std::string DescribePoints(const Definition& definition) {
    const PointSet points(definition);
    std::string bodies;
    for (std::size_t number = 0; number < points.GetCount(); ++number) {
        bodies += points.BuildBody(number).dump() + "\n";
    }
    return bodies;
}

TEST(Definition, MakesThePointsThatItsParametersDescribe) {
    StudyFolder folder;
    folder.Write(
        "points.csv",
        "\xEF\xBB\xBFspan,\"the, load\",name\r\n10,1e1,\"say \"\"a\"\"\"\r\n\r\n20,x,true\r\n");
    folder.Write("points.jsonl", "{\"s\": {\"deep\": 1}, \"unused\": 0}\n{\"s\": [2]}");
    const struct {
        const char* parameters;
        const char* bodies;
    } cases[] = {
        {R"([{"pointer": "/a", "values": [1, "x", null]}])",
         "{\"a\":1}\n{\"a\":\"x\"}\n{\"a\":null}\n"},
        {R"([{"pointer": "/a", "from": 0, "to": 0.3, "step": 0.1}])",
         "{\"a\":0}\n{\"a\":0.1}\n{\"a\":0.2}\n{\"a\":0.3}\n"},
        {R"([{"pointer": "/a", "from": 5, "to": 1, "step": -2}])",
         "{\"a\":5}\n{\"a\":3}\n{\"a\":1}\n"},
        {R"([{"pointer": "/a", "from": 0, "to": 1, "count": 3}])",
         "{\"a\":0}\n{\"a\":0.5}\n{\"a\":1}\n"},
        {R"([{"pointer": "/a", "values": [1, 2]}, {"pointer": "/b/0", "values": [3, 4]}])",
         "{\"a\":1,\"b\":[3]}\n{\"a\":1,\"b\":[4]}\n{\"a\":2,\"b\":[3]}\n{\"a\":2,\"b\":[4]}\n"},
        {R"([{"zip": [{"pointer": "/a", "values": [1, 2]},
                      {"pointer": "/b", "from": 3, "to": 4, "count": 2}]}])",
         "{\"a\":1,\"b\":3}\n{\"a\":2,\"b\":4}\n"},
        {R"([{"file": "points.csv", "columns": [{"column": "the, load", "pointer": "/l"},
                                                {"column": "name", "pointer": "/n"}]}])",
         "{\"l\":10.0,\"n\":\"say \\\"a\\\"\"}\n{\"l\":\"x\",\"n\":true}\n"},
        {R"([{"file": "points.csv", "columns": [{"column": "span", "pointer": "/s"}]}])",
         "{\"s\":10}\n{\"s\":20}\n"},
        {R"([{"file": "points.jsonl", "columns": [{"column": "s", "pointer": "/s"}]}])",
         "{\"s\":{\"deep\":1}}\n{\"s\":[2]}\n"},
        {R"([{"sample": "sobol", "points": 3, "of": [{"pointer": "/a", "from": 0, "to": 8},
                                     {"pointer": "/b", "from": 1, "to": 4, "whole": true}]}])",
         "{\"a\":4,\"b\":3}\n{\"a\":6,\"b\":2}\n{\"a\":2,\"b\":4}\n"},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.parameters);
        const Definition definition = folder.Read(R"({"simulation": "s", "parameters": )" +
                                                  std::string(item.parameters) + "}");
        EXPECT_EQ(DescribePoints(definition), item.bodies);
    }
}

TEST(Definition, NamesLineMemberAndReasonOfEveryError) {
    StudyFolder folder;
    folder.Write("short.csv", "a,b\n1,2\n3\n");
    folder.Write("empty.csv", "a,b\n");
    folder.Write("broken.csv", "a,b\n1,2\n\"3,4\n");
    folder.Write("wrong.jsonl", "{\"a\": 1}\n[2]\n");
    const auto vary = [](const std::string& parameters) {
        return R"({"simulation": "s", "parameters": [)" + parameters + "]}";
    };
    const auto readColumn = [&vary](const std::string& file, const std::string& name) {
        return vary(R"({"file": ")" + file + R"(", "columns": [{"column": ")" + name +
                    R"(", "pointer": "/)" + name + R"("}]})");
    };
    const struct {
        std::string text;
        const char* problem; ///< after the path of the folder
    } cases[] = {
        {"{\n  \"simulation\": \"s\",\n", "study.json:3: this is not valid JSON"},
        {"[]", "study.json:1: the document: must be an object"},
        {"{\n\"parameters\": [{}]}", "study.json:1: /simulation: is missing"},
        {"{\"simulation\": \"s\",\n\"base\": {}, // a comment\n\"base\": {}}",
         "study.json:3: /base: the member is given twice"},
        {vary("\n{\"pointer\": \"span\", \"values\": [1]}"),
         R"(study.json:2: /parameters/0/pointer: "span" is not a JSON pointer such as /span or /loads/0)"},
        {vary("\n{\"pointer\": \"/a\", \"values\": []}"),
         "study.json:2: /parameters/0/values: must be an array that is not empty"},
        {vary("{\"pointer\": \"/a\", \"values\": [1],\n\"uint\": \"m\"}"),
         "study.json:2: /parameters/0/uint: is not known here"},
        {vary("{\"pointer\": \"/a\", \"from\": 1, \"to\": 2,\n\"step\": -1}"),
         R"(study.json:2: /parameters/0/step: does not lead from "from" to "to")"},
        {vary("{\"pointer\": \"/a\", \"from\": 1, \"to\": 2,\n\"step\": 0}"),
         R"(study.json:2: /parameters/0/step: does not lead from "from" to "to")"},
        {"{\"simulation\": \"s\",\n\"parameters\": [{\"pointer\": \"/a\", \"values\": [1]}, "
         "{\"pointer\": \"/a/b\", \"values\": [1]}]}",
         "study.json:2: /parameters: sets /a/b twice, by /a and /a/b"},
        {"{\"simulation\": \"s\", \"base\": {\"a\": 1},\n\"parameters\": [{\"pointer\": \"/a/b\", "
         "\"values\": [1]}]}",
         "study.json:2: /parameters: the base document has no place for /a/b"},
        {vary("{\"zip\": [{\"pointer\": \"/a\", \"values\": [1]},\n{\"pointer\": \"/b\", "
              "\"values\": [1, 2]}]}"),
         "study.json:2: /parameters/0/zip/1/pointer: has 2 values, the first column 1"},
        {vary("{\"pointer\": \"/a\", \"from\": 0, \"to\": 1, \"count\": 9999},\n{\"pointer\": "
              "\"/b\", \"from\": 0, \"to\": 1, \"count\": 9999}"),
         "study.json:1: /parameters: make more than 10000000 points"},
        {vary("{\"sample\": \"sobol\", \"points\": 4, \"of\": [{\"pointer\": \"/a\", \"from\": "
              "1,\n\"to\": 1}]}"),
         R"(study.json:2: /parameters/0/of/0/to: must be greater than "from")"},
        {readColumn("short.csv", "b"), "short.csv:3: the row has 1 fields, the header line 2"},
        {readColumn("short.csv", "c"), R"(short.csv:1: there is no column "c")"},
        {readColumn("empty.csv", "a"), "empty.csv:1: there are no rows"},
        {readColumn("broken.csv", "a"),
         "broken.csv:3: error parsing data while strict checking enabled"},
        {readColumn("wrong.jsonl", "a"), "wrong.jsonl:2: this is not a JSON object"},
        {readColumn("missing.csv", "a"), "missing.csv: cannot be read: No such file or directory"},
        {"{\"simulation\": \"s\", \"parameters\": [{\"pointer\": \"/a\", \"values\": [1]}], "
         "\"limits\": {\n\"deadline\": \"2 hours\"}}",
         R"(study.json:2: /limits/deadline: must be a time such as "90s", "30m", "8h" or "2d")"},
        {"{\"simulation\": \"s\", \"parameters\": [{\"pointer\": \"/a\", \"values\": [1]}], "
         "\"limits\": {\n\"concurrent\": 0}}",
         "study.json:2: /limits/concurrent: must be a whole number from 1 to 10000000"},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.text);
        try {
            folder.Read(item.text);
            ADD_FAILURE() << "was accepted";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), folder.GetPath(item.problem));
        }
    }
}

TEST(Definition, IsWrittenAsAnExampleThatCanBeRead) {
    StudyFolder folder;
    const Definition definition = folder.Read(WriteExampleDefinition("a \"quoted\" simulation"));
    EXPECT_EQ(definition.simulation, "a \"quoted\" simulation");
    EXPECT_EQ(PointSet(definition).GetCount(), 15U);
}

/// Each of `count` equal intervals holds one point in every dimension.
TEST(Samples, FillALatinHypercubeAndDependOnTheSeedAlone) {
    const char* const study =
        R"({"simulation": "s", "parameters": [{"sample": "latin-hypercube", "points": 50, "seed": %SEED%,
            "of": [{"pointer": "/a", "from": 0, "to": 50}, {"pointer": "/b", "from": 0, "to": 50}]}]})";
    StudyFolder folder;
    const auto read = [&](const std::string& seed) {
        std::string text = study;
        text.replace(text.find("%SEED%"), 6, seed);
        return folder.Read(text);
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
