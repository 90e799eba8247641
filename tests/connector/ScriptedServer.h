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
    /// @param onRequest called when a whole request has come, before it is answered
    explicit ScriptedServer(std::function<void()> onRequest);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    unsigned int GetPort() const { return port; }

    /// The bytes that answer every later connection; none: it is closed without an answer.
    void Answer(const std::string& bytes);

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
    std::vector<std::string> connections;
    std::thread thread;
};
