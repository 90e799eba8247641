#pragma once

#include <httplib.h>

#include <functional>

#include "LoginAttempt.h"

namespace VarnelBase {

/// Makes a server ready to listen for one attempt's callback, in the listening thread alone. It
/// answers each request as soon as its head is complete, so that a connection that says nothing, or
/// says it slowly, delays no other, and stops when the attempt is over. A server may be made ready
/// again after it has stopped.
///
/// @param attempt must live until the server has stopped
/// @param takeCallback answers the callback; what it throws becomes the attempt's failure
void PrepareCallbackServer(
    httplib::Server& server, LoginAttempt& attempt,
    std::function<void(const httplib::Request&, httplib::Response&)> takeCallback);

} // namespace VarnelBase
