#include "shell/Releases.h"

#include <curl/curl.h>
#include <httplib.h>
#include <openssl/crypto.h>
#include <sys/utsname.h>
#include <CLI/Version.hpp>
#include <nlohmann/json.hpp>

namespace VarnelBase {

std::string ListReleases() {
    utsname system{};
    uname(&system);
    const nlohmann::json library = nlohmann::json::meta();
    return "varnel " VARNEL_VERSION "\ncpp-httplib " CPPHTTPLIB_VERSION "\nnlohmann json " +
           library.at("version").at("string").get<std::string>() + "\n" +
           OpenSSL_version(OPENSSL_VERSION) + "\n" + curl_version() +
           "\nCLI11 " CLI11_VERSION "\n" + std::string(system.sysname) + " " + system.release +
           " " + system.machine + ", compiled with " +
           library.at("compiler").at("family").get<std::string>() + " " +
           library.at("compiler").at("version").get<std::string>();
}

} // namespace VarnelBase
