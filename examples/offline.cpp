// Works without a service: run it with VARNEL_OFFLINE=1.
#include <ApiConnector.h>

#include <iostream>

int main() {
    VarnelBase::ApiConnector connector;
    const VarnelBase::json version = connector.GetVersion();
    std::cout << (connector.IsOffline() ? "offline" : "online") << ", version " << version << '\n';
}
