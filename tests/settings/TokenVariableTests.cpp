#include "AuthHandler.h"
#include "TestHome.h"

namespace VarnelBase {

using TokenVariable = TestHome;

TEST_F(TokenVariable, ComesBeforeMemory) {
    AuthHandler auth;
    for (const char* token : {"one", "two"}) {
        setenv("VARNEL_TOKEN", token, 1);
        EXPECT_EQ(auth.GetApiKey(), token);
        EXPECT_EQ(auth.Login(), token);
    }
    for (const char* unusable : {"e30.eyJleHAiOjF9.c2ln", "line\nbreak"}) {
        setenv("VARNEL_TOKEN", unusable, 1);
        EXPECT_THROW(auth.GetApiKey(), std::runtime_error);
    }
    unsetenv("VARNEL_TOKEN");
    EXPECT_EQ(auth.GetApiKey(), "two");
}

} // namespace VarnelBase
