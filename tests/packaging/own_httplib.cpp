// Part of an application that has a cpp-httplib of its own: a class of the same name, with another
// content. It fails when the library, which was built with another one, ends up in this one.

#include <cstdlib>
#include <iostream>
#include <string>

namespace httplib {

class Client {
public:
    Client(const std::string& host, int port);
    ~Client();

private:
    std::string peer;
};

Client::Client(const std::string& host, int port) : peer(host + ":" + std::to_string(port)) {
    if (peer != "own.example:1") {
        std::cerr << "the library uses the application's own httplib::Client\n";
        std::exit(1);
    }
}

Client::~Client() = default;

} // namespace httplib

namespace {

const httplib::Client OwnClient("own.example", 1);

} // namespace
