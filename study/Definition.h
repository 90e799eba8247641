#pragma once

#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace VarnelBase::Studies {

using json = nlohmann::json;

/// A member of a document that a study varies or collects.
struct Quantity {
    json::json_pointer pointer; ///< where it is (RFC 6901)
    std::string unit;           ///< for the axes of plots; empty: none given
};

/// Parameters that change together, and the values that they take together.
struct Axis {
    std::vector<Quantity> parameters;    ///< members of the document, none twice
    std::vector<std::vector<json>> rows; ///< each has a value for each parameter; never empty
};

/// Where an execution's document holds what a study needs, and the states that end it.
struct ExecutionShape {
    json::json_pointer id{"/id"};                    ///< a string
    json::json_pointer state{"/state"};              ///< a string
    json::json_pointer data{"/data"};                ///< the document that it was started with
    json::json_pointer createdAt{"/createdAt"};      ///< RFC 3339, always with the same offset
    std::vector<std::string> goodStates{"finished"}; ///< states that end it with results
    std::vector<std::string> badStates{"failed"};    ///< states that end it without
};

/// The limits of each run.
struct Limits {
    std::size_t concurrent = 4;                   ///< executions under way at once
    std::optional<std::size_t> startsPerMinute;   ///< none: as fast as the service accepts
    std::optional<std::chrono::seconds> deadline; ///< none: no time limit
    std::optional<std::size_t> stopAfterFailures; ///< none: failures do not end a run
};

/// A study as its file describes it: a simulation, executed once for each point.
struct Definition {
    std::string file;                       ///< path of the study's file
    std::string simulation;                 ///< its identifier
    json base;                              ///< the document that parameters are set in
    std::vector<Axis> axes;                 ///< the points are all combinations of their rows
    std::vector<Quantity> collected;        ///< members of a finished execution's document to keep
    ExecutionShape execution;               ///< where its documents hold what
    std::optional<json::json_pointer> mark; ///< place for the study's mark in a document
    Limits limits;                          ///< of each run
};

/// Reads a study's file, and the files that it names by paths relative to its own directory.
///
/// @throws std::runtime_error with "FILE:LINE: MEMBER: REASON", or when a file cannot be read
Definition ReadDefinition(const std::string& file);

/// A commented file to start from.
std::string WriteExampleDefinition(const std::string& simulation);

} // namespace VarnelBase::Studies
