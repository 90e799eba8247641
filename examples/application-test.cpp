// A test of a host application: its code runs against an emulator in the same process, sees the
// service fail, and what it has asked for is looked at afterwards.
#include <ApiConnector.h>
#include <Emulator.h>
#include <gtest/gtest.h>

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
    const VarnelBase::ConnectorEnvironment environment(emulator);
    VarnelBase::ApiConnector connector;
    emulator.AddFault(
        {{"path", "/simulations/*/executions"}, {"action", "status"}, {"status", 503}});

    const VarnelBase::json execution = StartPatiently(connector, "sim-bridge");

    EXPECT_EQ(execution.at("state"), "queued");
    EXPECT_EQ(emulator.CheckRequests({{"method", "POST"}, {"text", "{}"}, {"times", 2}}), "");
}

} // namespace
