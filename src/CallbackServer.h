#pragma once

#include <httplib.h>

#include <functional>
#include <string>

#include "CallbackPorts.h"
#include "LoginAttempt.h"

namespace VarnelBase {

/// A server for callbacks. The program's own handler of SIGPIPE stays in place.
httplib::Server MakeCallbackServer();

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

/// Takes a free port of this machine for the browser's answer, the first free one of those given if
/// any are, and returns the address of the callback there.
///
/// @throws std::runtime_error when no port is free, naming the setting
std::string BindCallbackServer(httplib::Server& server, const PortRanges& ports);

/// Makes room for many connections at once, of which httplib lets only five wait.
///
/// @throws std::runtime_error when so many files are open that httplib cannot watch the socket
void WidenCallbackListener(int listener);

} // namespace VarnelBase
