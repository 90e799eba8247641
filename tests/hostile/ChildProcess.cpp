#include "ChildProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>

pid_t StartChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child != 0) { return child; }
    int status = 255;
    try {
        status = work();
    } catch (const std::exception&) {}
    _exit(status);
}

int AwaitChild(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
