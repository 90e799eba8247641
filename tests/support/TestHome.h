#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "Texts.h"

namespace VarnelBase {

/// A home directory of the test's own, and no variable that the library reads.
class TestHome : public testing::Test {
protected:
    TestHome() {
        std::string name = testing::TempDir() + "varnel-XXXXXX";
        home = mkdtemp(name.data());
        ClearVariables();
    }
    ~TestHome() override { std::filesystem::remove_all(home); }

    void ClearVariables() const {
        std::vector<std::string> names;
        for (char** variable = environ; *variable != nullptr; ++variable) {
            const std::string text = *variable;
            if (text.rfind("VARNEL_", 0) == 0) { names.push_back(text.substr(0, text.find('='))); }
        }
        for (const std::string& name : names) { unsetenv(name.c_str()); }
        unsetenv("XDG_CONFIG_HOME");
        unsetenv("XDG_STATE_HOME");
        setenv("HOME", home.c_str(), 1);
    }

    static void Write(const std::filesystem::path& path, const std::string& bytes,
                      int mode = 0600) {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        std::filesystem::permissions(path, std::filesystem::perms(mode));
    }

    static std::string Read(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Starts a process that ends with the status that `work` returns.
    template <typename Work>
    static pid_t StartChild(Work work) {
        const pid_t child = fork();
        if (child < 0) { throw std::system_error(errno, std::generic_category(), "fork"); }
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL); // it does not outlive the test
            _exit(work());
        }
        return child;
    }

    /// Waits for a process: its status, or the negative number of the signal that ended it.
    static int AwaitChild(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    std::filesystem::path home;
};

} // namespace VarnelBase
