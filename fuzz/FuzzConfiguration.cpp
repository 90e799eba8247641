// The configuration file: read, or refused with an error that names the file.
#include <cstdlib>
#include <stdexcept>

#include "IdentitySettings.h"
#include "TemporaryHome.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryHome home;
    static const std::string file = home.GetPath() + "/config.json";
    setenv("VARNEL_CONFIG", file.c_str(), 1);
    TemporaryHome::Write(file, data, size);
    try {
        const VarnelBase::EnvConfig config;
        VarnelBase::ReadIdentitySettings(config.GetEnvironment());
    } catch (const std::runtime_error& error) {
        if (std::string(error.what()).rfind(file, 0) != 0) { std::abort(); }
    }
    return 0;
}
