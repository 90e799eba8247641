// Asks for the access token a million times, between two lines of output. For strace: nothing in
// between may be a system call.
#include <AuthHandler.h>
#include <unistd.h>

#include "Token.h"

int main() {
    SignIn();
    VarnelBase::AuthHandler auth;
    auth.GetApiKey();
    static_cast<void>(write(STDOUT_FILENO, "begin\n", 6));
    for (int i = 0; i < 1000000; ++i) { auth.GetApiKey(); }
    static_cast<void>(write(STDOUT_FILENO, "end\n", 4));
}
