#include "HostileAnswers.h"

#include <zlib.h>

namespace {

std::string Repeat(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) { all += text; }
    return all;
}

} // namespace

std::string Compress(std::size_t size) {
    const std::string text = std::string(size - 1, ' ') + "1";
    uLongf length = compressBound(text.size());
    std::string bytes(length, '\0');
    compress(reinterpret_cast<Bytef*>(bytes.data()), &length,
             reinterpret_cast<const Bytef*>(text.data()), text.size());
    bytes.resize(length);
    return bytes;
}

std::vector<HostileAnswer> MakeHostileAnswers(int status, const std::string& redirection) {
    using Manner = ScriptedServer::Manner;
    const std::string line = "HTTP/1.1 " + std::to_string(status) + " OK\r\n";
    const std::string whole = line + "Content-Length: 2\r\n\r\n[]";
    const std::string chunked = line + "Transfer-Encoding: chunked\r\n\r\n";
    const std::string bomb = Compress(1 << 22);
    const std::string bombSize = "Content-Length: " + std::to_string(bomb.size()) + "\r\n\r\n";
    std::vector<HostileAnswer> answers{
        {"no answer", ""},
        {"reset before the request is read", "", 0, "", false, Manner::Reset},
        {"reset within the head", line + "Content-", 0, "", false, Manner::ThenReset},
        {"reset within the body", line + "Content-Length: 9\r\n\r\n[", 0, "", false,
         Manner::ThenReset},
        {"half a status line", "HTTP/1.1 2"},
        {"no status line", "{}"},
        {"TLS alert", std::string("\x15\x03\x01\0\x02\x02\x46", 7)},
        {"unknown protocol", "HTTP/9.9 200 OK\r\nContent-Length: 2\r\n\r\n[]"},
        {"status of five digits", "HTTP/1.1 20000 OK\r\nContent-Length: 2\r\n\r\n[]"},
        {"status line with a NUL", std::string("HTTP/1.1 \0 200 OK\r\n\r\n[]", 23)},
        {"8,000 bytes of reason",
         "HTTP/1.1 " + std::to_string(status) + std::string(8000, ' ') +
             "\r\nContent-Length: 2\r\n\r\n[]",
         status, "[]", true},
        {"1xx without end", Repeat("HTTP/1.1 100 Continue\r\n\r\n", 2000)},
        {"2,000 1xx, then an answer", Repeat("HTTP/1.1 100 Continue\r\n\r\n", 2000) + whole, status,
         "[]", true},
        {"1xx and no more", "HTTP/1.1 101 Switching\r\n\r\n[", 101, "[", true},
        {"header line of 1 MiB", line + "A: " + std::string(1 << 20, 'a') + "\r\n\r\n[]"},
        {"header line without end", line + "A: " + std::string(1 << 20, 'a')},
        {"2,000 headers", line + Repeat("A: b\r\n", 2000) + "Content-Length: 2\r\n\r\n[]", status,
         "[]", true},
        {"headers without end", line + Repeat("Set-Cookie: a=b\r\n", 2000)},
        {"header lines that are none",
         line + "\x01\xff\r\n:\r\n: :\r\na\r\n\nContent-Length: 2\r\n\r\n[]", status, "[]", true},
        {"length too large", line + "Content-Length: 3\r\n\r\n[]"},
        {"length too small", line + "Content-Length: 2\r\n\r\n[]]", status, "[]"},
        {"length negative", line + "Content-Length: -1\r\n\r\n[]"},
        {"length beyond 64 bits", line + "Content-Length: " + std::string(99, '9') + "\r\n\r\n[]"},
        {"length of 1 TB", line + "Content-Length: 1000000000000\r\n\r\n[]"},
        {"length that is no number", line + "Content-Length: x\r\n\r\n[]", status, "", true},
        {"two lengths", line + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n[]", status, "[]",
         true},
        {"chunk without a size", chunked + "x\r\n[]\r\n0\r\n\r\n"},
        {"chunk beyond 64 bits", chunked + std::string(99, 'f') + "\r\n[]\r\n0\r\n\r\n"},
        {"chunk of 16 EiB", chunked + "fffffffffffffffe\r\n[]\r\n0\r\n\r\n"},
        {"chunk longer than its size", chunked + "1\r\n[]\r\n0\r\n\r\n", status, "[", true},
        {"chunks without end", chunked + Repeat("1\r\n[\r\n", 2000)},
        {"last chunk missing", chunked + "2\r\n[]\r\n"},
        {"compressed bomb", line + "Content-Encoding: deflate\r\n" + bombSize + bomb, status,
         std::string((1 << 22) - 1, ' ') + "1", true},
        {"compressed nonsense", line + "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\n[]"},
        {"unknown compression", line + "Content-Encoding: rot13\r\nContent-Length: 2\r\n\r\n[]",
         status, "[]"},
        {"100,000 levels, unfinished", line + "\r\n" + std::string(100000, '['), status,
         std::string(100000, '[')},
        {"single bytes", whole, status, "[]", false, Manner::Bytes},
        {"wrong bytes in the document", line + "\r\n[\"\xff\"]", status, "[\"\xff\"]"},
        {"login demanded",
         "HTTP/1.1 401 No\r\nWWW-Authenticate: Digest realm=a, nonce=b, qop=auth, algorithm=MD5\r\n"
         "Content-Length: 2\r\n\r\n[]",
         401, "[]"},
    };
    for (const int redirect : {301, 302, 303, 307, 308}) {
        answers.push_back({"redirect to another host",
                           "HTTP/1.1 " + std::to_string(redirect) + " There\r\nLocation: " +
                               redirection + "\r\nContent-Length: 2\r\n\r\n[]",
                           redirect, "[]"});
    }
    return answers;
}
