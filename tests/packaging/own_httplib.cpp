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
};

Client::Client(const std::string& host, int /*port*/) {
    if (host == "own.example") { return; }
    std::cerr << "the library uses the application's own httplib::Client\n";
    std::exit(1);
}

Client::~Client() = default;

} // namespace httplib

static const httplib::Client OwnClient("own.example", 1);
