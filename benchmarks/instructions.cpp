// Calls one operation a number of times, for callgrind:
// bench-instructions OPERATION library|hand CALLS PORT TOKEN-BYTES
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "Operations.h"

int main(int argc, char* argv[]) {
    if (argc != 6) { return 2; }
    const std::string name = argv[1];
    const bool isByHand = std::string(argv[2]) == "hand";
    const int calls = std::atoi(argv[3]);
    const std::string token(static_cast<std::size_t>(std::atoi(argv[5])), 't');
    setenv("VARNEL_TOKEN", token.c_str(), 1);
    setenv("VARNEL_API_PORT", argv[4], 1);
    std::ofstream null("/dev/null");
    std::streambuf* const output = std::cout.rdbuf(null.rdbuf());

    VarnelBase::ApiConnector api;
    const BareClient bare("127.0.0.1", std::atoi(argv[4]), token);
    for (const Operation& operation : ListOperations()) {
        if (operation.name != name) { continue; }
        for (int call = 0; call < calls; ++call) {
            if (isByHand) {
                operation.byHand(bare);
            } else {
                operation.byLibrary(api);
            }
        }
    }
    std::cout.rdbuf(output);
}
