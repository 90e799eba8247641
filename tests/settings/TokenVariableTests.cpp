#include <functional>

#include "AuthHandler.h"
#include "TestHome.h"

namespace VarnelBase {

using TokenVariable = TestHome;

TEST_F(TokenVariable, IsReadForEachRequest) {
    AuthHandler auth;
    for (const char* token : {"one", "two"}) {
        setenv("VARNEL_TOKEN", token, 1);
        EXPECT_EQ(auth.GetApiKey(), token);
        EXPECT_EQ(auth.Login(), token);
    }
    for (const char* unusable : {"e30.eyJleHAiOjF9.c2ln", "line\nbreak"}) {
        setenv("VARNEL_TOKEN", unusable, 1);
        EXPECT_THROW(auth.GetApiKey(), std::runtime_error);
        EXPECT_THROW(auth.Login(), std::runtime_error);
    }
    unsetenv("VARNEL_TOKEN");
    EXPECT_EQ(auth.GetApiKey(), "");
}

TEST_F(TokenVariable, ReplacesASessionInMemory) {
    setenv("VARNEL_AUTH_HOST", "https://id.example.com", 1);
    TokenStore().Store({"session", ""});
    AuthHandler auth;
    const std::vector<std::function<void()>> signIns{[&] { auth.Login(); },
                                                     [&] { auth.Relogin(); }};
    for (const auto& signIn : signIns) {
        EXPECT_EQ(auth.GetApiKey(), "session");
        setenv("VARNEL_TOKEN", "given", 1);
        EXPECT_EQ(auth.GetApiKey(), "session");
        signIn();
        EXPECT_EQ(auth.GetApiKey(), "given");
        unsetenv("VARNEL_TOKEN");
        EXPECT_EQ(auth.GetApiKey(), "session");
    }
    TokenStore().Store({"e30.eyJleHAiOjF9.c2ln", ""}); // expired
    AuthHandler late;
    EXPECT_THROW(late.GetApiKey(), std::runtime_error);
    setenv("VARNEL_TOKEN", "given", 1);
    EXPECT_EQ(late.GetApiKey(), "given");
}

} // namespace VarnelBase
