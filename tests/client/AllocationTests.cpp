#include <curl/curl.h>

#include <cstdio>
#include <cstring>
#include <regex>
#include <set>
#include <sstream>

#include "AllocationFixture.h"
#include "OperationCases.h"

namespace VarnelBase {

namespace {

using ClientAllocations = AllocationFixture;

/// A function of the C library, whose allocation fails in its turn, too.
template <auto Function, typename... Arguments>
void* Allocate(Arguments... arguments) {
    return IsFailingAllocation() ? nullptr : Function(arguments...);
}

char* CopyText(const char* text) {
    return IsFailingAllocation() ? nullptr : strdup(text);
}

const CURLcode CurlReadiness = curl_global_init_mem( // before anybody else initialises it
    CURL_GLOBAL_DEFAULT, Allocate<std::malloc>, std::free, Allocate<std::realloc>, CopyText,
    Allocate<std::calloc>);

/// Something to do while memory runs out; returns nothing when it failed.
struct Work {
    std::string name;
    std::function<std::string(ServiceClient&)> run;
};

std::string TextOf(const Outcome& outcome) {
    return outcome ? outcome.text : std::string();
}

} // namespace

TEST_F(ClientAllocations, MayFailOneByOne) {
    Set("VARNEL_TOKEN", ValidToken);
    ASSERT_EQ(CurlReadiness, CURLE_OK);
    ClientOptions options;
    options.maxAttempts = 1;
    std::vector<Work> works{
        {"construct", [&](auto&) { return ServiceClient(options).GetHostname(); }},
        {"WaitForExecution", [](auto& c) { return c.WaitForExecution("a", "b").state; }},
        {"StreamProject",
         [](auto& c) {
             std::ostringstream output;
             return c.StreamProject({}, output) ? output.str() : "";
         }},
        {"Simulations",
         [](auto& c) {
             std::string all;
             for (const json& simulation : c.Simulations("user")) {
                 all += simulation["id"].template get_ref<const std::string&>();
             }
             return all;
         }},
    };
    for (const OperationCase& operation : OperationCases) {
        works.push_back({operation.request, [&](auto& c) { return TextOf(operation.call(c)); }});
    }
    server.Answer(MakeAnswer(200, R"({"state":"finished","items":[{"id":"b"},{"id":"a"}]})"));
    const auto failEach = [&](const Work& work) {
        ServiceClient client(options);
        const std::string expected = work.run(client);
        if (expected.empty()) { return 2; }
        std::string result;
        const auto run = [&] {
            result.clear();
            try {
                result = work.run(client);
            } catch (const CallFailed&) {}
        };
        while (FailNext(run)) {
            if (!result.empty() && result != expected) { return 3; }
            if (work.run(client) != expected) { return 4; }
        }
        return 0;
    };
    for (const Work& work : works) {
        EXPECT_EQ(RunInChildren([&] { return failEach(work); }), 0)
            << work.name << ", before allocation " << counts.number;
        std::set<std::string> distinct;
        for (const std::string& request : server.TakeRequests()) {
            // libcurl 7.88 loses the query when there is no memory for it.
            distinct.insert(std::regex_replace(request, std::regex("\\?\\S*"), ""));
        }
        distinct.erase(""); // of a connection on which nothing was sent
        EXPECT_EQ(distinct.size(), work.name == "construct" ? 0U : 1U) << work.name;
    }
    EXPECT_GT(counts.failures, 1000);
    std::printf("%ld allocations failed\n", counts.failures);
}

} // namespace VarnelBase
