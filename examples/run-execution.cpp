// Starts an execution of a simulation with its current inputs.
//
//   run-execution SIMULATION
#include <ApiConnector.h>

#include <iostream>

int main(int argc, char* argv[]) {
    if (argc != 2) { return 2; }
    VarnelBase::ApiConnector connector;
    const VarnelBase::json inputs = connector.GetSimulationInputs(argv[1]);
    if (inputs.is_null() || inputs.contains("error")) {
        std::cerr << "no inputs to execute with: " << inputs << '\n';
        return 1;
    }
    const VarnelBase::json execution = connector.PostExecution(argv[1], inputs);
    if (execution.is_null()) {
        std::cerr << "the execution was not accepted\n";
        return 1;
    }
    std::cout << execution.dump(2) << '\n';
}
