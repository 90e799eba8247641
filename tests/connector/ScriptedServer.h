#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// A server on 127.0.0.1 that records the bytes of each connection and answers with scripted ones.
class ScriptedServer {
public:
    /// How an answer is sent: all at once, in single bytes, followed by a reset instead of the end
    /// of the connection, or not at all: the connection is reset before the request is read.
    enum class Manner { Whole, Drip, ThenReset, ResetAtOnce };

    /// @param onRequest called when a whole request has come, before it is answered
    explicit ScriptedServer(std::function<void()> onRequest);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    unsigned int GetPort() const { return port; }

    /// The bytes that answer every later connection; none: it is closed without an answer.
    void Answer(const std::string& bytes, Manner manner = Manner::Whole);

    /// What came over each connection since the last call, once the client has closed them all.
    std::vector<std::string> TakeConnections();

private:
    void Serve();
    void Converse(int connection);

    const std::function<void()> notify;
    int listener = -1;
    unsigned int port = 0;
    std::mutex mutex;
    std::condition_variable allClosed;
    bool isBusy = false;
    std::string answer;
    Manner answerManner = Manner::Whole;
    std::vector<std::string> connections;
    std::thread thread;
};
