// Answers of the service: the first byte chooses the operation, the rest is the answer.
#include <cstdint>
#include <iostream>

#include "Operations.h"
#include "PeerAnswer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static VarnelBase::ApiConnector connector;
    std::cout.rdbuf(nullptr);
    if (size == 0) { return 0; }
    const auto& operations = VarnelBase::AllOperations;
    const VarnelBase::Operation& operation = operations[data[0] % operations.size()];
    SetPeerAnswer(std::string(data + 1, data + size),
                  operation.gate == VarnelBase::Gate::Exactly201 ? 201 : 200);
    operation.call(connector);
    return 0;
}
