// An HTTP server that does nothing, as fast as the HTTP library can.
#include <httplib.h>

#include <cstdio>

int main() {
    httplib::Server server;
    server.set_tcp_nodelay(true);
    server.Get(".*", [](const httplib::Request& /*request*/, httplib::Response& response) {
        response.set_content("{}", "application/json");
    });
    std::printf("http://127.0.0.1:%d\n", server.bind_to_any_port("127.0.0.1"));
    std::fflush(stdout);
    server.listen_after_bind();
}
