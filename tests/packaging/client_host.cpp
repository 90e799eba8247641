// A host application of the installed client: its header and library are all that it needs.
#include <ServiceClient.h>

#include <stdexcept>

#if defined(CPPHTTPLIB_VERSION) || defined(LIBCURL_VERSION) || defined(OPENSSL_VERSION_MAJOR)
#error "the client's header lets a library through"
#endif

int main() {
    VarnelBase::ClientOptions options;
    options.host = "127.0.0.1";
    options.port = 1;
    options.maxAttempts = 1;
    options.tokenSource = [] { return ""; };
    VarnelBase::ServiceClient client(options);
    const VarnelBase::Outcome outcome = client.GetVersion();
    if (outcome.failure != VarnelBase::Failure::CannotConnect) {
        throw std::runtime_error(outcome.message);
    }
}
