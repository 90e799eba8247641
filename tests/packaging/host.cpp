// A host application. It fails when it and the library do not agree on classes or exceptions.

#include <ApiConnector.h>
#include <LoginGuide.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace {

template <typename Exception, typename Action>
void ExpectThrow(const char* what, Action action) {
    try {
        action();
    } catch (const Exception& error) {
        if (std::string(error.what()).find(what) != std::string::npos) { return; }
    }
    std::cerr << "no exception of the expected type tells of \"" << what << "\"\n";
    std::exit(1);
}

} // namespace

int main() {
    setenv("VARNEL_API_PORT", "70000", 1);
    ExpectThrow<std::runtime_error>("VARNEL_API_PORT", [] { VarnelBase::ApiConnector connector; });
    unsetenv("VARNEL_API_PORT");

    // Makes the library construct a client, but send nothing.
    VarnelBase::ApiConnector online;
    ExpectThrow<VarnelBase::json::type_error>("UTF-8", [&] { online.SendAgentCommand("\xff"); });

    VarnelBase::LoginGuide guide;
    guide.isOnDevice = true;
    const VarnelBase::GuidedLogin guided(guide);
    if (!VarnelBase::GuidedLogin::GetGuide().isOnDevice) { return 1; }

    setenv("VARNEL_OFFLINE", "1", 1);
    VarnelBase::ApiConnector offline;
    return offline.GetVersion() == VarnelBase::json::array({"0.4.1"}) ? 0 : 1;
}
