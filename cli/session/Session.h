#pragma once

#include <ApiConnector.h>

#include <optional>
#include <string>
#include <vector>

#include "output/Output.h"
#include "output/OutputCapture.h"

namespace VarnelBase {

/// What stands on the command line. Each command reads the members that it has declared.
struct Arguments {
    // Every command
    std::string environment; ///< empty: the settings choose
    bool isOffline = false;
    bool isQuiet = false;
    OutputOptions output;

    // What a request is about
    std::string simulation;
    std::string execution;
    std::string user;
    bool isRawId = false;
    std::string scope = "user";
    int limit = 50;
    int offset = 0;
    bool isAll = false;

    // What is sent
    std::string data;
    std::string email;
    std::string role;
    std::string command;
    bool isConfirmed = false;
    bool isDryRun = false;

    // Files
    std::string file;
    bool isForced = false;

    // Watching an execution
    std::string field = "/state";
    std::vector<std::string> goodStates{"finished"};
    std::vector<std::string> badStates{"failed"};

    // Signing in
    bool isOnDevice = false;
    bool isOtherUser = false;

    // Completion
    std::string shell;

    // Tracing a program
    std::string traceFormat = "jsonl";
    std::vector<std::string> program;
};

/// One run of the command: its arguments, its way to the service and its ways to the user.
class Session {
public:
    /// The connector, in an environment for which there is a token.
    ///
    /// @throws CommandError when there is no token; std::runtime_error when the settings cannot be
    ///         used
    ApiConnector& Connect();

    /// The connector, which is not offline.
    ///
    /// @throws CommandError when it is, and what `Connect` throws
    ApiConnector& ConnectOnline();

    /// Whether the library has told that an execution was accepted.
    bool HasLink() const { return capture && capture->HasLink(); }

    /// Writes a result to standard output, as the arguments want it.
    void Print(const json& document) const;

    /// Tells the user something on standard error, unless they want quiet.
    void Note(const std::string& text) const;

    Arguments arguments;
    void (*run)(Session& session) = nullptr; ///< the chosen command

private:
    std::optional<OutputCapture> capture;
    std::optional<ApiConnector> connector;
};

/// What somebody can do whose token is missing or does not do.
std::string AdviseSignIn();

/// Puts --environment and --offline into the process environment, where the library looks. Another
/// environment than the one that VARNEL_ENVIRONMENT names takes the variables out that belong to
/// that one.
///
/// @throws CommandError when there is no environment of that name
void ApplyEnvironmentOptions(const Arguments& arguments);

} // namespace VarnelBase
