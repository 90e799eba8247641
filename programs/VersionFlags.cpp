#include "VersionFlags.h"

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <sys/utsname.h>
#include <boost/version.hpp>
#include <nlohmann/json.hpp>

namespace VarnelBase {

namespace {

/// What both programs are built from, and the system that they run on.
std::string ListCommonReleases() {
    utsname system{};
    uname(&system);
    const nlohmann::json library = nlohmann::json::meta();
    return "nlohmann json " + library.at("version").at("string").get<std::string>() + "\n" +
           OpenSSL_version(OPENSSL_VERSION) + "\n" + curl_version() + "\nBoost " +
           std::to_string(BOOST_VERSION / 100000) + "." +
           std::to_string(BOOST_VERSION / 100 % 1000) + "\nCLI11 " CLI11_VERSION "\n" +
           system.sysname + " " + system.release + " " + system.machine + ", compiled with " +
           library.at("compiler").at("family").get<std::string>() + " " +
           library.at("compiler").at("version").get<std::string>();
}

} // namespace

void AddVersionFlags(CLI::App& app, const std::string& libraries) {
    CLI::Option* verbose =
        app.add_flag("--verbose", "With --version: the versions of the libraries too");
    const std::string version = app.get_name() + " " VARNEL_VERSION;
    verbose->needs(app.set_version_flag(
        "--version",
        [verbose, version, libraries] {
            return verbose->count() == 0 ? version
                                         : version + "\n" + libraries + ListCommonReleases();
        },
        "Print this program's version and exit"));
}

} // namespace VarnelBase
