// Tests a host application against an emulator in the same process: makes the service fail, and
// checks the requests afterwards.
#include <Emulator.h>
#include <ServiceClient.h>
#include <gtest/gtest.h>

#include <string>

namespace {

/// The code under test: starts an execution, and tries again if the service is busy.
VarnelBase::Outcome StartPatiently(VarnelBase::ServiceClient& client, const std::string& id) {
    VarnelBase::Outcome started = client.PostExecution(id, VarnelBase::json::object());
    return started.status == 503 ? client.PostExecution(id, VarnelBase::json::object()) : started;
}

TEST(Application, StartsAgainWhenTheServiceIsBusy) {
    VarnelBase::Emulator emulator;
    const VarnelBase::ConnectorEnvironment environment(emulator);
    VarnelBase::ServiceClient client;
    emulator.AddFault(
        {{"path", "/simulations/*/executions"}, {"action", "status"}, {"status", 503}});

    const VarnelBase::Outcome started = StartPatiently(client, "sim-bridge");

    ASSERT_TRUE(started) << started.message;
    EXPECT_EQ(started.document.at("state"), "queued");
    EXPECT_EQ(emulator.CheckRequests({{"method", "POST"}, {"text", "{}"}, {"times", 2}}), "");
}

} // namespace
