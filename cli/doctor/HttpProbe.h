#pragma once

#include <string>

#include "network/HttpMessage.h"
#include "network/TcpConnection.h"

namespace VarnelBase {

/// What somebody who accepts connections answers to a plain HTTP request without a token.
struct ProbeAnswer {
    HttpHead head;
    std::string problem; ///< why there is none; empty: there is one
    std::string advice;
};

ProbeAnswer ProbeHttp(const TcpConnection& connection, const std::string& authority);

} // namespace VarnelBase
