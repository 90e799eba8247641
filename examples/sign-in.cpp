// Signs a person in and says what they have to do: in a browser of this machine, or with a code on
// another device.
#include <ApiConnector.h>
#include <LoginGuide.h>

#include <exception>
#include <iostream>

int main() {
    VarnelBase::LoginGuide guide;
    guide.showAddress = [](const std::string& address) {
        std::cout << "If no browser opens, open " << address << std::endl;
    };
    guide.showCode = [](const VarnelBase::DeviceCode& code) {
        std::cout << "Open " << code.address << " on any device and type " << code.code
                  << std::endl;
    };
    guide.tellUnstored = [](const std::string& reason) {
        std::cout << "You will have to sign in again next time: " << reason << '\n';
    };
    const VarnelBase::GuidedLogin guided(guide);
    try {
        VarnelBase::ApiConnector connector;
        connector.Login();
        std::cout << "You are signed in.\n";
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "You are not signed in: " << error.what() << '\n';
        return 1;
    }
}
