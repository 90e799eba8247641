// How the tests of a host application use the emulator: the application's own code runs against it,
// sees it fail, and what it asked is looked at afterwards.
#include <ApiConnector.h>
#include <Emulator.h>

#include "TestHome.h"

namespace {

/// The code under test: starts an execution, and once more when the service was busy.
VarnelBase::json StartPatiently(VarnelBase::ApiConnector& connector, const std::string& id) {
    VarnelBase::json execution = connector.PostExecution(id, VarnelBase::json::object());
    return execution.is_null() ? connector.PostExecution(id, VarnelBase::json::object())
                               : execution;
}

using HostApplication = VarnelBase::TestHome;

TEST_F(HostApplication, StartsAgainWhenTheServiceIsBusy) {
    VarnelBase::Emulator emulator;
    setenv("VARNEL_API_PORT", std::to_string(emulator.GetPort()).c_str(), 1);
    VarnelBase::ApiConnector connector(VarnelBase::Environment::Local);
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
