// Prints the identifier of each of the user's simulations.
#include <ApiConnector.h>

#include <iostream>

int main() {
    VarnelBase::ApiConnector connector;
    for (const std::string& name : connector.GetSimulationNames()) { std::cout << name << '\n'; }
}
