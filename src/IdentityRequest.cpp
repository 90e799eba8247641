#include "IdentityRequest.h"

#include <httplib.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "CryptoText.h"
#include "HttplibDifferences.h"
#include "TlsRules.h"

namespace VarnelBase {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds StepTimeout(10);
constexpr std::chrono::seconds TotalTimeout(30);
constexpr std::size_t MaxAnswerBytes = 1 << 20;

/// What OpenSSL said about the server's certificate.
struct Verification {
    int handshakes = 0;
    long result = X509_V_OK;
};

int VerifyCertificate(X509_STORE_CTX* store, void* argument) {
    auto& verification = *static_cast<Verification*>(argument);
    // OpenSSL's verdict ends the handshake, whatever mode httplib has set for the connection.
    auto* connection =
        static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    SSL_set_verify(connection, SSL_VERIFY_PEER, nullptr);
    // httplib sends a request a second time when a TLS server closes without an answer. A token
    // request must not go out twice, so there is no second connection.
    if (++verification.handshakes > 1) {
        X509_STORE_CTX_set_error(store, X509_V_ERR_APPLICATION_VERIFICATION);
        return 0;
    }
    const int isValid = X509_verify_cert(store);
    verification.result = X509_STORE_CTX_get_error(store);
    return isValid;
}

void ConfigureTls(SSL_CTX* context, const IdentityRequest& request, Verification& verification) {
    const std::string& host = request.url.host;
    if (!RequireTlsHost(context, host) || SSL_CTX_set_default_verify_paths(context) != 1) {
        throw IdentityError("TLS cannot be set up for " + host);
    }
    const std::string& caFile = request.caFile;
    if (!caFile.empty() && !TrustCaFile(context, caFile)) {
        throw IdentityError("caFile: " + caFile + " contains no readable PEM certificate");
    }
    SSL_CTX_set_cert_verify_callback(context, VerifyCertificate, &verification);
}

/// How long each step may take.
std::chrono::milliseconds ComputePatience(Clock::time_point deadline) {
    const auto now = Clock::now();
    // Not zero, which some releases of httplib treat as no limit.
    if (deadline <= now) { return std::chrono::milliseconds(1); }
    return std::chrono::ceil<std::chrono::milliseconds>(
        std::min<Clock::duration>(StepTimeout, deadline - now));
}

std::unique_ptr<httplib::ClientImpl> OpenClient(const IdentityRequest& request,
                                                Verification& verification) {
    const IdentityUrl& url = request.url;
    std::unique_ptr<httplib::ClientImpl> client;
    if (url.isSecure) {
        auto tlsClient = std::make_unique<httplib::SSLClient>(url.host, url.port);
        // httplib's own check of the name accepts some wrong ones and heeds letter case; OpenSSL's
        // check in its place ends the handshake.
        tlsClient->enable_server_certificate_verification(false);
        ConfigureTls(GetTlsContext(*tlsClient, 0), request, verification);
        client = std::move(tlsClient);
    } else {
        client = std::make_unique<httplib::ClientImpl>(url.host, url.port);
    }
    AdaptClient(*client);
    const auto patience = ComputePatience(request.deadline);
    client->set_connection_timeout(patience);
    client->set_read_timeout(patience);
    client->set_write_timeout(patience);
    client->set_follow_location(false);
    client->set_decompress(false);
    client->set_keep_alive(false);
    return client;
}

/// Whether the request cannot have reached the server.
bool IsBeforeSending(httplib::Error error) {
    switch (error) {
        case httplib::Error::Connection:
        case httplib::Error::ConnectionTimeout:
        case httplib::Error::BindIPAddress:
        case httplib::Error::SSLConnection:
        case httplib::Error::SSLLoadingCerts:
        case httplib::Error::SSLServerVerification:
            return true;
        default:
            return false;
    }
}

std::string DescribeFailure(const httplib::Result& result, long verification) {
    const httplib::Error error = result.error();
    if (verification != X509_V_OK) {
        return std::string("its certificate is not accepted: ") +
               X509_verify_cert_error_string(verification);
    }
    if (error == httplib::Error::SSLServerVerification) {
        return "its certificate is not accepted";
    }
    if (error == httplib::Error::SSLConnection) {
        const char* reason = ERR_reason_error_string(GetTlsError(result, 0));
        return std::string("no TLS connection: ") + (reason == nullptr ? "closed" : reason);
    }
    return "no connection";
}

} // namespace

IdentityAnswer SendIdentityRequest(const IdentityRequest& request) {
    Verification verification;
    const auto client = OpenClient(request, verification);
    IdentityAnswer answer;
    bool isTooLarge = false;
    const auto deadline = std::min(Clock::now() + TotalTimeout, request.deadline);

    httplib::Request message;
    message.method = request.form.empty() ? "GET" : "POST";
    message.path = request.url.target.empty() ? "/" : TargetOf(request.url.target);
    message.headers = {{"Accept", "application/json"}, {"Accept-Encoding", "identity"}};
    message.body = request.form;
    if (!request.credentials.empty()) {
        // Not httplib's own encoding, which shifts bits out of an int.
        message.headers.emplace("Authorization", "Basic " + EncodeBase64(request.credentials));
    }
    if (!request.form.empty()) {
        message.headers.emplace("Content-Type", "application/x-www-form-urlencoded");
    }
    message.content_receiver = [&](const char* data, std::size_t size, auto&&...) {
        isTooLarge = answer.body.size() + size > MaxAnswerBytes;
        if (isTooLarge || Clock::now() > deadline) { return false; }
        answer.body.append(data, size);
        return true;
    };
    ERR_clear_error();
    const httplib::Result result = client->send(message);
    const std::string where =
        "identity provider " + request.url.host + ":" + std::to_string(request.url.port);
    if (isTooLarge) { throw IdentityError(where + ": the answer is larger than 1 MiB"); }
    if (!result) {
        // A second connection is one that httplib made by itself, after the request had gone out.
        if (!IsBeforeSending(result.error()) || verification.handshakes > 1) {
            throw IdentityError(where + ": no complete answer");
        }
        throw IdentityError(where + ": " + DescribeFailure(result, verification.result));
    }
    answer.status = result->status;
    answer.date = result->get_header_value("Date");
    answer.location = result->get_header_value("Location");
    answer.retryAfter = result->get_header_value("Retry-After");
    return answer;
}

} // namespace VarnelBase
