#pragma once

#include <string>

namespace VarnelBase {

/// The deployments of the service. The numbers are part of the interface.
enum class Environment : int {
    Local = 0,      ///< this machine; the configured host is used as it stands
    Staging = 1,    ///< the user's group goes in front of the configured host
    Production = 2, ///< the user's group goes in front of the configured host
};

/// The connection settings of one deployment, read when constructed and unchanged afterwards.
///
/// A setting comes from its environment variable, else from the configuration file, else from the
/// built-in values. The file is $VARNEL_CONFIG, else $XDG_CONFIG_HOME/varnel/config.json, else
/// ~/.config/varnel/config.json; a missing default file is no error.
///
/// Objects may be copied and read from several threads. Constructors read the process environment,
/// so no other thread may change it (`setenv`) meanwhile.
class EnvConfig {
public:
    /// Settings of the environment that VARNEL_ENVIRONMENT names, else the file's "environment",
    /// else `Local`.
    ///
    /// @throws std::runtime_error naming the variable, or file and key, that cannot be used
    EnvConfig();

    /// Settings of the given environment. While VARNEL_ENVIRONMENT names another one, the other
    /// variables (all but VARNEL_OFFLINE) are left aside: they belong to that other environment.
    ///
    /// @throws std::invalid_argument when the value is none of the three
    /// @throws std::runtime_error naming the variable, or file and key, that cannot be used
    explicit EnvConfig(Environment deployment);

    /// The deployment that the settings belong to.
    Environment GetEnvironment() const { return environment; }

    /// Host name or address of the service, without scheme, port and path. May be empty when the
    /// file says so.
    const std::string& GetApiHost() const { return apiHost; }

    /// TCP port of the service, 1 to 65535.
    unsigned int GetApiPort() const { return apiPort; }

    /// Realm at the identity provider; empty: the provider has none.
    const std::string& GetAuthRealm() const;

    /// User name for signing in without a browser; empty: none.
    const std::string& GetUsername() const;

    /// Password that belongs to the user name; empty: none. A secret.
    const std::string& GetPassword() const;

    /// Whether both user name and password are there.
    bool HasCredentials() const;

    /// Whether the connector must stay off the network.
    bool IsOffline() const { return offline; }

private:
    static Environment ParseEnvironment(const std::string& text);
    void LoadOverrides();
    void LoadCredentials();

    Environment environment;
    std::string apiHost;
    unsigned int apiPort;
    std::string authRealm;
    std::string username;
    std::string password;
    bool offline;
};

} // namespace VarnelBase
