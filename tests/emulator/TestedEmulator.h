#pragma once

#include <Emulator.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Texts.h"

using nlohmann::json;
using VarnelBase::Emulator;
using VarnelBase::EmulatorOptions;

/// A status and the document that came with it; null where it is not JSON.
struct Reply {
    int status = 0;
    json document;
    std::string body;
    httplib::Headers headers;
};

/// Sends a request, given by method and target, to an emulator over a socket.
inline Reply Ask(const Emulator& emulator, const std::string& methodAndTarget,
                 const std::string& body = "", const httplib::Headers& headers = {}) {
    const std::size_t blank = methodAndTarget.find(' ');
    httplib::Request request;
    request.method = methodAndTarget.substr(0, blank);
    request.path = methodAndTarget.substr(blank + 1);
    request.body = body;
    request.headers = headers;
    request.headers.emplace("Content-Type", "application/json");
    const auto result = httplib::Client("127.0.0.1", emulator.GetPort()).send(request);
    if (!result) { return {}; }
    const auto document = json::parse(result->body, nullptr, false);
    return {result->status, document.is_discarded() ? json() : document, result->body,
            result->headers};
}

inline json Get(const Emulator& emulator, const std::string& target) {
    return Ask(emulator, "GET " + target).document;
}

/// Has the clock stand still.
inline EmulatorOptions MakeOptions(const std::string& seed) {
    EmulatorOptions options;
    options.seed = json::parse(seed);
    options.speed = 0;
    return options;
}

/// Expects that an emulator does not start, and names what it cannot use.
inline void ExpectProblem(const EmulatorOptions& options, const std::string& named) {
    EXPECT_PRED2(Has, CatchMessage<std::exception>([&] { const Emulator emulator(options); }),
                 named);
}

/// A directory that is removed when the program ends.
inline std::string MakeDirectory() {
    struct Directories {
        std::vector<std::string> paths;
        ~Directories() {
            for (const std::string& path : paths) { std::filesystem::remove_all(path); }
        }
    };
    static Directories made;
    std::string directory = testing::TempDir() + "varnel-emulator-XXXXXX";
    return mkdtemp(directory.data()) == nullptr ? "" : made.paths.emplace_back(directory);
}

/// Writes a record, whose directory is its own, and returns its path.
inline std::string WriteRecord(const json& entries) {
    const std::string path = MakeDirectory() + "/record.har";
    std::ofstream(path) << json({{"log", {{"entries", entries}}}});
    return path;
}
