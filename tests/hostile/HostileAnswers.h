#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ScriptedServer.h"

/// What a broken or malicious service sends, and what the HTTP library makes of it.
struct HostileAnswer {
    const char* name;
    std::string bytes;
    int status = 0;            ///< 0: no response
    std::string body = {};     ///< that of the response
    bool mayBeRefused = false; ///< releases of the HTTP library differ: or no response
    ScriptedServer::Manner manner = ScriptedServer::Manner::Whole;
};

/// @param status      of the answers that have one of no meaning of its own
/// @param redirection where the redirects lead
std::vector<HostileAnswer> MakeHostileAnswers(int status, const std::string& redirection);

/// Spaces and a digit, compressed to a thousandth.
std::string Compress(std::size_t size);
