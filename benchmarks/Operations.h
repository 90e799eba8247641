#pragma once

#include <ApiConnector.h>

#include <functional>
#include <string>
#include <vector>

#include "BareClient.h"

/// One operation of the connector, the same request by hand, and the answer that both get.
struct Operation {
    std::string name;
    int status;
    std::string answer; ///< the peer's kind of document
    std::function<void(VarnelBase::ApiConnector&)> byLibrary;
    std::function<void(const BareClient&)> byHand;
};

const std::vector<Operation>& ListOperations();
