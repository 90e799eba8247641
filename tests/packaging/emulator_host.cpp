// The tests of a host application, which start the service themselves.

#include <ApiConnector.h>
#include <Emulator.h>

#include <cstdlib>

int main() {
    const VarnelBase::Emulator emulator;
    setenv("VARNEL_API_PORT", std::to_string(emulator.GetPort()).c_str(), 1);
    return VarnelBase::ApiConnector().GetVersion().is_null() ? 1 : 0;
}
