#include "TlsRules.h"

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace VarnelBase {

namespace {

bool IsAddress(const std::string& host) {
    in6_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

} // namespace

bool RequireTlsHost(SSL_CTX* context, const std::string& host) {
    X509_VERIFY_PARAM* param = SSL_CTX_get0_param(context);
    X509_VERIFY_PARAM_set_hostflags(
        param, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const int isNamed = IsAddress(host) ? X509_VERIFY_PARAM_set1_ip_asc(param, host.c_str())
                                        : X509_VERIFY_PARAM_set1_host(param, host.c_str(), 0);
    return isNamed == 1 && SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1;
}

bool TrustCaFile(SSL_CTX* context, const std::string& caFile) {
    return SSL_CTX_load_verify_locations(context, caFile.c_str(), nullptr) == 1;
}

} // namespace VarnelBase
