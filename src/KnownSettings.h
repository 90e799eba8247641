#pragma once

#include <array>
#include <string_view>

namespace VarnelBase {

enum class SettingKind { Text, Secret, Number, Ports, Flag };

/// A setting that the configuration file and the process environment may hold.
struct KnownSetting {
    const char* name; ///< key in the file
    const char* variable;
    SettingKind kind;
};

inline constexpr std::array<KnownSetting, 15> KnownSettings{{
    {"environment", "VARNEL_ENVIRONMENT", SettingKind::Text},
    {"apiHost", "VARNEL_API_HOST", SettingKind::Text},
    {"apiPort", "VARNEL_API_PORT", SettingKind::Number},
    {"offline", "VARNEL_OFFLINE", SettingKind::Flag},
    {"authHost", "VARNEL_AUTH_HOST", SettingKind::Text},
    {"authRealm", "VARNEL_AUTH_REALM", SettingKind::Text},
    {"clientId", "VARNEL_CLIENT_ID", SettingKind::Text},
    {"clientSecret", "VARNEL_CLIENT_SECRET", SettingKind::Secret},
    {"username", "VARNEL_USERNAME", SettingKind::Text},
    {"password", "VARNEL_PASSWORD", SettingKind::Secret},
    {"scope", "VARNEL_SCOPE", SettingKind::Text},
    {"groupsClaim", "VARNEL_GROUPS_CLAIM", SettingKind::Text},
    {"caFile", "VARNEL_CA_FILE", SettingKind::Text},
    {"loginTimeout", "VARNEL_LOGIN_TIMEOUT", SettingKind::Number},
    {"callbackPorts", "VARNEL_CALLBACK_PORTS", SettingKind::Ports},
}};

/// The setting with a key of the file; null when there is none.
inline const KnownSetting* FindKnownSetting(std::string_view name) {
    for (const KnownSetting& setting : KnownSettings) {
        if (name == setting.name) { return &setting; }
    }
    return nullptr;
}

/// The variable that holds an access token; it has no key in the file.
inline constexpr const char* TokenVariable = "VARNEL_TOKEN";

} // namespace VarnelBase
