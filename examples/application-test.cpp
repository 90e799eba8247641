// A test of a host application: its code runs against an emulator in the same process, sees the
// service fail, and what it has asked for is looked at afterwards.
#include <ApiConnector.h>
#include <Emulator.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

/// The code under test: starts an execution, and once more when the service was busy.
VarnelBase::json StartPatiently(VarnelBase::ApiConnector& connector, const std::string& id) {
    VarnelBase::json execution = connector.PostExecution(id, VarnelBase::json::object());
    return execution.is_null() ? connector.PostExecution(id, VarnelBase::json::object())
                               : execution;
}

TEST(Application, StartsAgainWhenTheServiceIsBusy) {
    VarnelBase::Emulator emulator;
    setenv("VARNEL_ENVIRONMENT", "local", 1);
    setenv("VARNEL_API_HOST", "127.0.0.1", 1);
    setenv("VARNEL_API_PORT", std::to_string(emulator.GetPort()).c_str(), 1);
    setenv("VARNEL_TOKEN", "test", 1);
    setenv("VARNEL_OFFLINE", "no", 1);
    VarnelBase::ApiConnector connector;
    emulator.AddFault(
        {{"path", "/simulations/*/executions"}, {"action", "status"}, {"status", 503}});

    const VarnelBase::json execution = StartPatiently(connector, "sim-bridge");

    EXPECT_EQ(execution.at("state"), "queued");
    const VarnelBase::json requests = emulator.GetRequests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0]["status"], 503);
    EXPECT_EQ(requests[1]["body"], "{}");
}

} // namespace
