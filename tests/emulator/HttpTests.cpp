// HTTP as it is on the wire: bytes in, and which answers come back before the connection ends.
#include <HttpServer.h>

#include <atomic>
#include <future>
#include <utility>
#include <vector>

#include "RawConnection.h"

namespace {

using VarnelBase::Emulator;
namespace Emulation = VarnelBase::Emulation;

/// The status of every answer, each followed by a blank.
std::string ListStatuses(const std::string& answers) {
    const std::string begin = "HTTP/1.1 ";
    std::string statuses;
    for (std::size_t at = answers.find(begin); at != std::string::npos;
         at = answers.find(begin, at + 1)) {
        statuses += answers.substr(at + begin.size(), 3) + " ";
    }
    return statuses;
}

std::string Repeat(std::size_t count) {
    return std::string(count, 'x');
}

const std::string Line = " HTTP/1.1\r\n";
const std::string Host = "Host: localhost\r\n";
const std::string Get = "GET /version" + Line + Host;
const std::string Post = "POST /agent" + Line + Host;
const std::string Chunked = Post + "Transfer-Encoding: chunked\r\n";
const std::string Last = Get + "Connection: close\r\n\r\n";
const std::string Reset = "POST /_local/reset" + Line + Host + "\r\n";

// Behind each of these comes a request of its own: a second 200 says that the connection was kept
// and that the first request ended where it should.
const std::vector<std::pair<std::string, std::string>> Cases{
    {Get + "\r\n", "200 200 "},
    {Get + "Connection: x, CLOSE\r\n\r\n", "200 "},
    {Get + "Connection: x\r\nconnection: Close\r\n\r\n", "200 "},
    {"GET /version HTTP/1.0\r\n" + Host + "\r\n", "200 "},
    {"GET /version HTTP/1.0\r\n" + Host + "Connection: Keep-Alive\r\n\r\n", "200 200 "},
    {"HEAD /version" + Line + Host + "\r\n", "200 200 "},

    // Bodies of every method end where they say.
    {Get + "Content-Length: 68\r\n\r\n" + Reset + Repeat(20), "200 200 "},
    {"DELETE /users/x" + Line + Host + "Content-Length: 48\r\n\r\n" + Reset, "404 200 "},
    {"DELETE /users/x" + Line + Host + "Transfer-Encoding: chunked\r\n\r\n30\r\n" + Reset +
         "\r\n0\r\n\r\n",
     "404 200 "},
    {"OPTIONS /users" + Line + Host + "Content-Length: 48\r\n\r\n" + Reset, "204 200 "},
    {Chunked + "\r\n13;a=\"b\"\r\n{\"command\": \"start\"\r\n1\r\n}\r\n0\r\n\r\n", "200 200 "},
    {Chunked + "\r\n2\r\n{}\r\n0\r\nAuthorization: x\r\n\r\n", "422 200 "},

    // What one program reads in one way and another one in another.
    {Post + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}", "400 "},
    {Post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}", "400 "},
    {Post + "Content-Length: 2, 2\r\n\r\n{}", "400 "},
    {Post + "Content-Length: +2\r\n\r\n{}", "400 "},
    {Post + "Content-Length: 0x2\r\n\r\n{}", "400 "},
    {Post + "Content-Length: \r\n\r\n", "400 "},
    {Post + "Content-Length: -1\r\n\r\n", "400 "},
    {Post + "Content-Length: 99999999999999999999\r\n\r\n", "400 "},
    {Chunked + "Content-Length: 2\r\n\r\n0\r\n\r\n", "400 "},
    {Post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "400 "},
    {Chunked + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "400 "},
    {Post + "Transfer-Encoding: gzip\r\n\r\n", "400 "},
    {Post + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", "400 "},
    {Post + "Transfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n", "400 "},
    {Post + "Transfer-Encoding: \r\n\r\n", "400 "},
    {"POST /agent HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "400 "},
    {Post + "Transfer-Encoding : chunked\r\n\r\n", "400 "},
    {Post + " Transfer-Encoding: chunked\r\n\r\n", "400 "},
    {"GET /version" + Line + "\r\n", "400 "},
    {Get + Host + "\r\n", "400 "},
    {"GET /version" + Line + "Host: localhost, localhost\r\n\r\n", "400 "},
    {"GET /version" + Line + "Host: localhost/x\r\n\r\n", "400 "},
    {"GET /version HTTP/1.1\nHost: localhost\n\n", "400 "},
    {"GET /version" + Line + "Host: localhost\n\r\n", "400 "},
    {Get + "A: b\rc\r\n\r\n", "400 "},
    {Get + std::string("A: b\0c\r\n\r\n", 10), "400 "},
    {Get + "A\r\n\r\n", "400 "},
    {Chunked + "\r\nzz\r\n", "400 "},
    {Chunked + "\r\n-1\r\n", "400 "},
    {Chunked + "\r\n11111111111111111\r\n", "400 "},
    {Chunked + "\r\n2\r\n{}xx0\r\n\r\n", "400 "},
    {Chunked + "\r\n2\n{}\n0\n\n", "400 "},
    {Chunked + "\r\n0\r\nbad trailer\r\n\r\n", "400 "},
    {Chunked + "\r\n0\r\nA: b\nc\r\n\r\n", "400 "},
    {Chunked + "\r\n1;" + Repeat(100000) + "\r\n", "400 "},

    // Targets.
    {"GET http://localhost/version?a" + Line + Host + "\r\n", "200 200 "},
    {"GET HTTP://localhost:80" + Line + "Host: other\r\n\r\n", "404 200 "},
    {"GET http://other/version" + Line + Host + "\r\n", "403 200 "},
    {"GET http://a@localhost/version" + Line + Host + "\r\n", "400 "},
    {"GET ftp://localhost/version" + Line + Host + "\r\n", "400 "},
    {"GET version" + Line + Host + "\r\n", "400 "},
    {"GET *" + Line + Host + "\r\n", "400 "},
    {"OPTIONS *" + Line + Host + "\r\n", "204 200 "},
    {"GET /a b" + Line + Host + "\r\n", "400 "},
    {"BREW /users" + Line + Host + "\r\n", "501 200 "},

    // Limits and versions.
    {"GET /" + Repeat(100000) + Line + Host + "\r\n", "414 "},
    {Get + "A: " + Repeat(100000) + "\r\n\r\n", "431 "},
    {Post + "Content-Length: 67108865\r\n\r\n", "413 "},
    {Chunked + "\r\n4000001\r\n", "413 "},
    {"GET /version HTTP/2.0\r\n" + Host + "\r\n", "505 "},
    {"GET /version HTTP/1.1x\r\n" + Host + "\r\n", "400 "},
    {"\x16\x03\x01 a TLS handshake\r\n\r\n", "400 "},
    {std::string("GET /%\0 HTTP/9\r\n\r\n", 18), "400 "},
    {"\r\n\r\n", "400 "},
    {Repeat(100000), "414 "},
    {Post + "Expect: 200-ok\r\nContent-Length: 2\r\n\r\n{}", "417 "},
    {Post + "Expect: 100-continue\r\nContent-Length: 67108865\r\n\r\n", "413 "},
    {Post + "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n{}", "422 200 "},
    {"POST /agent HTTP/1.0\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n{}", "422 "},
};

TEST(Http, EachRequestEndsWhereItShouldWhateverOtherClientsDo) {
    const Emulator emulator;
    for (int i = 0; i < 1000; ++i) { close(ConnectTo(emulator.GetPort())); }
    std::vector<int> idle;
    for (int i = 0; i < 100; ++i) {
        idle.push_back(ConnectTo(emulator.GetPort()));
        SendAll(idle.back(), i % 2 == 0 ? "GET /ver" : "");
    }
    std::size_t asked = 0;
    for (const auto& [bytes, statuses] : Cases) {
        const std::string answers = SendRaw(emulator.GetPort(), bytes + Last);
        EXPECT_EQ(ListStatuses(answers), statuses) << bytes.substr(0, 300) << "\n" << answers;
        asked += statuses.size() / 4;
        EXPECT_EQ(emulator.GetRequests().size(), asked) << "forgotten by a hidden reset";
    }
    for (const int peer : idle) { close(peer); }
}

TEST(Http, RefusesBareLineFeedsBeforeTheHeadEnds) {
    const Emulator emulator;
    for (const std::string& bytes :
         {std::string("\n"), std::string("GET /version HTTP/1.1\n"), Get + "\n",
          "GET /version" + Line + "Host: localhost\n", Get + "A: b\r\n\n"}) {
        EXPECT_EQ(ListStatuses(SendRaw(emulator.GetPort(), bytes)), "400 ") << bytes;
    }
}

TEST(Http, TrailersChangeNoRequest) {
    const Emulator emulator;
    // Releases of Beast refuse or ignore them.
    for (const std::string& trailer :
         std::vector<std::string>{"Content-Length: 5\r\n\r\n", "Host: other\r\n\r\n",
                                  "A: " + Repeat(200000), "A: " + Repeat(70000) + "\r\n\r\n"}) {
        const std::string answers =
            SendRaw(emulator.GetPort(), Chunked + "\r\n0\r\n" + trailer + Last);
        EXPECT_EQ(answers.substr(0, 10), "HTTP/1.1 4") << answers;
    }
}

TEST(Http, RequestsMayComeInAnyPieces) {
    const Emulator emulator;
    const int peer = ConnectTo(emulator.GetPort());
    for (const char byte : Chunked + "\r\n2\r\n{}\r\n0\r\n\r\n" + Last) {
        SendAll(peer, std::string(1, byte));
        if (byte == '\n') { // others are answered meanwhile
            EXPECT_EQ(ListStatuses(SendRaw(emulator.GetPort(), Last)), "200 ");
        }
    }
    EXPECT_EQ(ListStatuses(ReadUntil(peer, "")), "422 200 ");
    close(peer);
}

TEST(Http, SaysContinueToWhomWaitsForIt) {
    const Emulator emulator;
    const int peer = ConnectTo(emulator.GetPort());
    SendAll(peer, Post + "Expect: 100-Continue\r\nConnection: close\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(ReadUntil(peer, "\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    SendAll(peer, "{}");
    EXPECT_EQ(ListStatuses(ReadUntil(peer, "")), "422 ");
    close(peer);
}

TEST(Http, HeadAndAllowFollowThePath) {
    const Emulator emulator;
    const auto ask = [&](const std::string& request) {
        return SendRequest(emulator, request, "Host: localhost");
    };
    const std::string got = ask("GET /users");
    EXPECT_EQ(ask("HEAD /users"), got.substr(0, got.find("\r\n\r\n") + 4));
    for (const auto& [path, allowed] : std::vector<std::pair<std::string, std::string>>{
             {" /users", "GET, HEAD, POST, OPTIONS"},
             {" /users/x", "GET, HEAD, PATCH, DELETE, OPTIONS"}}) {
        for (const std::string method : {"PUT", "TRACE", "OPTIONS"}) {
            const std::string answer = ask(method + path);
            EXPECT_PRED2(Has, answer, "\r\nAllow: " + allowed + "\r\n");
            EXPECT_EQ(answer.find("\r\nContent-Type: ") == std::string::npos, method == "OPTIONS")
                << answer;
        }
    }
    EXPECT_EQ(ListStatuses(ask("HEAD /agents")), "404 ");
}

/// A server whose every answer is the given one.
std::unique_ptr<Emulation::HttpServer> ServeAnswers(
    const std::function<Emulation::Answer()>& make) {
    Emulation::ServerCallbacks callbacks;
    callbacks.chooseFault = [](const auto& /*request*/) { return std::nullopt; };
    callbacks.answer = [make](const auto& /*request*/, const auto& /*fault*/) { return make(); };
    callbacks.complete = [](const auto& /*request*/, const auto& /*answer*/) {};
    callbacks.record = [](const Emulation::Exchange& /*exchange*/) {};
    return Emulation::StartHttpServer({"127.0.0.1", 0, "", ""}, std::move(callbacks));
}

TEST(Http, StreamsAreSentWhileTheyAreWritten) {
    auto stream = std::make_shared<Emulation::BodyStream>();
    const auto server = ServeAnswers([&] {
        Emulation::Answer answer;
        answer.stream = stream;
        return answer;
    });
    const auto connect = [&] {
        const int peer = ConnectTo(server->GetPort());
        SendAll(peer, Get + "\r\n");
        ReadUntil(peer, "\r\n\r\n");
        return peer;
    };
    const int peer = connect();
    for (const std::string text : {"first", "a second one, longer"}) {
        EXPECT_TRUE(stream->Write(text));
        EXPECT_EQ(ReadUntil(peer, text), text);
    }
    close(peer);
    while (stream->Write("the server notices that its client has gone")) {}

    stream = std::make_shared<Emulation::BodyStream>();
    const int last = connect();
    EXPECT_TRUE(stream->Write("all"));
    EXPECT_EQ(ReadUntil(last, "all"), "all");
    stream->Close();
    EXPECT_EQ(ReadUntil(last, ""), "");
    close(last);

    const auto unread = std::make_shared<Emulation::BodyStream>();
    for (int i = 0; unread->Write(Repeat(1 << 20)); ++i) { ASSERT_LT(i, 100) << "piles up"; }
}

TEST(Http, WhatWaitsHoldsNobodyUp) {
    std::promise<void> hasBegun;
    std::promise<void> mayEnd;
    std::atomic<int> asked{0};
    const auto server = ServeAnswers([&] {
        Emulation::Answer answer;
        if (asked++ == 0) {
            answer.later = [&](const std::atomic<bool>& /*isStopping*/) -> Emulation::Answer {
                hasBegun.set_value();
                mayEnd.get_future().wait();
                throw std::runtime_error("gone");
            };
        }
        return answer;
    });
    const int waiting = ConnectTo(server->GetPort());
    SendAll(waiting, Get + "\r\n" + Last);
    hasBegun.get_future().wait();
    EXPECT_EQ(ListStatuses(SendRaw(server->GetPort(), Last)), "200 ");
    EXPECT_EQ(asked, 2) << "the second one waits for the first one of its connection";
    mayEnd.set_value();
    EXPECT_EQ(ListStatuses(ReadUntil(waiting, "")), "500 200 ");
    close(waiting);
}

TEST(Http, StopsWhateverClientsDo) {
    Emulator emulator;
    emulator.AddFault({{"path", "/users"}, {"action", "endless"}, {"maxBytes", 1LL << 40}});
    emulator.AddFault({{"path", "/agent"}, {"action", "drip"}, {"pause", 3600}});
    emulator.AddFault({{"path", "/simulations"}, {"action", "delay"}, {"delay", 3600}});
    std::vector<int> peers;
    for (const std::string& bytes :
         {std::string(), "GET /ver" + Repeat(3), Post + "Content-Length: 9\r\n\r\n{", Get + "\r\n",
          "GET /users" + Line + Host + "\r\n", "GET /agent" + Line + Host + "\r\n",
          "GET /simulations" + Line + Host + "\r\n"}) {
        peers.push_back(ConnectTo(emulator.GetPort()));
        SendAll(peers.back(), bytes);
    }
    EXPECT_EQ(ReadUntil(peers[4], "HTTP"), "HTTP");
    EXPECT_EQ(ReadUntil(peers[5], "H"), "H");
    while (emulator.GetFaults()[2]["applied"] == 0) {}
    emulator.Stop();
    for (const int answered : {peers[5], peers[6]}) {
        EXPECT_PRED2(Has, ReadUntil(answered, ""), "\r\n\r\n{") << "the rest at once";
    }
    for (const int peer : peers) { close(peer); }
}

} // namespace
