#pragma once

#include <string>

/// Lets every later connection end at a peer that sends these bytes and closes: `connect` is
/// replaced. Without a status line they are the body of an answer with the given status.
void SetPeerAnswer(std::string bytes, int status);
