#include "HttplibDifferences.h"

#include <gtest/gtest.h>

namespace VarnelBase {

// What only some releases need, whichever this build has.

TEST(HttplibDifferences, EscapeTargets) {
    EXPECT_EQ(EscapeTarget("/a b+c?d=%20&e='f',g;h#i\"<>"),
              "/a%20b%2Bc?d=%20&e=%27f%27%2Cg%3Bh#i\"<>");
    EXPECT_EQ(EscapeTarget("/\xC3\xA4\r\n\t\x7F"), "/%C3%A4%0D%0A\t\x7F");
    EXPECT_EQ(EscapeTarget(std::string("/a\0b", 4)), "/a");
}

TEST(HttplibDifferences, SendNoTargetWithAControlCharacter) {
    for (const char* const fine : {"/a", "/a\tb", "/~\xC3"}) {
        EXPECT_TRUE(IsSendable(fine)) << fine;
    }
    for (const char* const bad : {"/a\t", "/a\x1F", "/\x7F/b"}) {
        EXPECT_FALSE(IsSendable(bad)) << bad;
    }
}

TEST(HttplibDifferences, DecodeHeaderValues) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"plain + text", "plain + text"},
        {"%41%2f%00z", "A/"},
        {"%u0041%u00e4%u20AC", "A\xC3\xA4\xE2\x82\xAC"},
        {"half a pair: %ud83d.", "half a pair: ."},
        {"100%, %4, %u004, %zz, %", "100%, %4, %u004, %zz, %"},
    };
    for (const auto& [value, decoded] : cases) {
        EXPECT_STREQ(DecodeHeaderValue(value).c_str(), decoded) << value;
    }
}

} // namespace VarnelBase
