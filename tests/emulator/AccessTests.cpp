// Who may ask: hosts, origins of pages, tokens, and the key of /_local.
#include <tuple>
#include <vector>

#include "RawConnection.h"

namespace {

using VarnelBase::Emulator;
using VarnelBase::EmulatorAccess;
using VarnelBase::EmulatorOptions;

/// @param headers separated by "|"
int AskStatus(const Emulator& emulator, const std::string& request, const std::string& headers) {
    return std::stoi(SendRequest(emulator, request, headers).substr(9, 3));
}

TEST(Access, OnlyProgramsAndTheOwnPageSteerIt) {
    EmulatorOptions options;
    options.allowedHosts = {"Emulator"};
    options.allowedOrigins = {"http://front.end:5173"};
    const Emulator emulator(options);
    const std::string port = std::to_string(emulator.GetPort());
    const std::string own = "Host: 127.0.0.1:" + port;
    for (const auto& [request, headers, status] :
         std::vector<std::tuple<std::string, std::string, int>>{
             {"GET /version", "Host: localhost", 200},
             {"GET /version", "Host: LocalHost:99", 200},
             {"GET /version", "Host: 127.8.0.1", 200},
             {"GET /version", "Host: [::1]:80", 200},
             {"GET /version", "Host: group.localhost", 200},
             {"GET /version", "Host: emulator:8080", 200},
             {"GET /version", "Host: group.emulator", 200},
             {"GET /version", "Host: notemulator", 403},
             {"GET /version", "Host: 127.0.0.1.rebound.example", 403},
             {"GET /version", "Host: localhost.rebound.example", 403},
             {"GET /version", "Host: 192.0.2.1", 403},
             {"GET /version", "Host: ", 403},
             // A page may ask for documents, whose text its browser keeps from it.
             {"GET /users", own + "|Origin: http://evil.example", 200},
             {"GET /users", own + "|Sec-Fetch-Site: cross-site", 200},
             {"GET /_local/export", own + "|Origin: http://evil.example", 403},
             {"GET /_local/export", own + "|Sec-Fetch-Site: cross-site", 403},
             {"GET /_local/export", own + "|Sec-Fetch-Site: same-site", 403},
             {"GET /_local/export", own + "|Sec-Fetch-Site: none", 200},
             {"POST /_local/reset", own + "|Origin: null", 403},
             {"POST /_local/reset", own + "|Origin: http://127.0.0.1:1", 403},
             {"POST /_local/reset", own + "|Origin: http://127.0.0.1:" + port, 200},
             {"POST /_local/reset", own + "|Origin: http://evil127.0.0.1:" + port, 403},
             {"POST /users", own + "|Origin: http://evil.example", 403},
             {"POST /users", own + "|Sec-Fetch-Site: cross-site", 403},
             {"DELETE /users/usr-1", own + "|Origin: http://evil.example", 403},
             {"DELETE /users/usr-1", own + "|Origin: http://front.end:5173", 204},
             {"POST /_local/reset",
              own + "|Origin: http://front.end:5173|Sec-Fetch-Site: cross-site", 200}}) {
        EXPECT_EQ(AskStatus(emulator, request, headers), status) << request << " " << headers;
    }
}

TEST(Access, AllowedOriginsReadWhatTheyAskFor) {
    EmulatorOptions options;
    options.allowedOrigins = {"http://front.end"};
    options.access = EmulatorAccess::Any;
    Emulator emulator(options);
    emulator.AddFault({{"action", "status"}, {"status", 503}});
    const std::string page = "Host: localhost|Origin: http://front.end";
    const std::string preflight =
        SendRequest(emulator, "OPTIONS /users",
                    page +
                        "|Access-Control-Request-Method: POST|Access-Control-Request-Headers: "
                        "authorization, x|Access-Control-Request-Private-Network: true");
    for (const std::string line :
         {"HTTP/1.1 204 ",
          "\r\nAccess-Control-Allow-Methods: GET, HEAD, POST, PUT, PATCH, DELETE\r\n",
          "\r\nAccess-Control-Allow-Headers: authorization, x\r\n", "\r\nVary: Origin\r\n",
          "\r\nAccess-Control-Allow-Private-Network: true\r\n",
          "\r\nAccess-Control-Allow-Origin: http://front.end\r\n",
          "\r\nAccess-Control-Allow-Credentials: true\r\n"}) {
        EXPECT_PRED2(Has, preflight, line);
    }
    for (const char* status : {"503", "401"}) { // the fault is not spent on the preflight
        const std::string answer = SendRequest(emulator, "POST /users", page);
        EXPECT_EQ(answer.substr(9, 3), status);
        EXPECT_PRED2(Has, answer, "\r\nAccess-Control-Allow-Origin: http://front.end\r\n");
        EXPECT_EQ(answer.find("Expose-Headers: WWW-Authenticate\r\n") != std::string::npos,
                  std::string(status) == "401");
    }
    for (const auto& [lines, status] :
         std::vector<std::pair<std::string, std::string>>{{"|Host: twice", "400"},
                                                          {"|Transfer-Encoding: gzip", "400"},
                                                          {"|A: b\rc", "400"},
                                                          {"|Content-Length: 67108865", "413"},
                                                          {"|Expect: more", "417"}}) {
        const std::string answer = SendRaw(
            emulator.GetPort(), "POST /users HTTP/1.1\r\n" + JoinLines(page + lines) + "\r\n\r\n");
        EXPECT_EQ(answer.substr(9, 3), status) << lines;
        EXPECT_PRED2(Has, answer, "\r\nAccess-Control-Allow-Origin: http://front.end\r\n");
    }
    const std::string other =
        SendRequest(emulator, "GET /users", "Host: localhost|Origin: http://evil");
    EXPECT_PRED2(Lacks, other, "Access-Control-Allow");
    EXPECT_PRED2(Has, other, "\r\nVary: Origin\r\n");
}

TEST(Access, TokensAndTheKeyOpenWhatIsTheirs) {
    const std::string grouped = "eyJhbGciOiJub25lIn0.eyJncm91cHMiOlsiMTI3Il19.";
    for (const auto& [access, token, headers, status] :
         std::vector<std::tuple<EmulatorAccess, std::string, std::string, int>>{
             {EmulatorAccess::Any, "", "Host: localhost", 401},
             {EmulatorAccess::Any, "", "Host: localhost|Authorization: Basic YTpi", 401},
             {EmulatorAccess::Any, "", "Host: localhost|Authorization: Bearer x", 200},
             {EmulatorAccess::Any, "y", "Host: localhost|Authorization: Bearer x", 401},
             {EmulatorAccess::Groups, "", "Host: localhost|Authorization: Bearer x", 403},
             {EmulatorAccess::Groups, "", "Host: a.localhost|Authorization: Bearer " + grouped,
              403},
             {EmulatorAccess::Groups, "", "Host: 127.localhost|Authorization: Bearer " + grouped,
              200},
             {EmulatorAccess::Groups, "", "Host: 127.0.0.1|Authorization: Bearer " + grouped,
              200}}) {
        EmulatorOptions options;
        options.access = access;
        options.token = token;
        const Emulator emulator(options);
        EXPECT_EQ(AskStatus(emulator, "GET /version", headers), status) << headers;

        const std::string key = emulator.GetLocalKey();
        EXPECT_EQ(AskStatus(emulator, "GET /_local/health", headers), 200);
        EXPECT_EQ(AskStatus(emulator, "GET /_local/clock", headers), 401);
        EXPECT_EQ(AskStatus(emulator, "GET /_local/clock?key=" + key + "x", headers), 401);
        EXPECT_EQ(AskStatus(emulator, "GET /_local/clock",
                            "Host: localhost|Authorization: Bearer " + key),
                  200);
    }
}

TEST(Access, ABrowserGetsTheKeyAsACookieOfItsPort) {
    EmulatorOptions options;
    options.access = EmulatorAccess::Any;
    const Emulator emulator(options);
    const std::string host = "Host: localhost:" + std::to_string(emulator.GetPort());
    const std::string answer =
        SendRequest(emulator, "GET /_local/clock?key=" + emulator.GetLocalKey(), host);
    EXPECT_EQ(answer.substr(9, 3), "303");
    EXPECT_PRED2(Has, answer, "\r\nLocation: /_local/clock\r\n");
    const std::size_t begin = answer.find("Set-Cookie: ") + 12;
    const std::string cookie = answer.substr(begin, answer.find(';', begin) - begin);
    EXPECT_NE(answer.find("; Path=/_local; HttpOnly; SameSite=Strict\r\n", begin),
              std::string::npos);
    EXPECT_EQ(AskStatus(emulator, "GET /_local/clock", host + "|Cookie: a=b; " + cookie), 200);
    EXPECT_EQ(AskStatus(emulator, "GET /_local/clock", host + "|Cookie: x" + cookie), 401);
}

} // namespace
