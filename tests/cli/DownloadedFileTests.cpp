#include "files/DownloadedFile.h"

#include <gtest/gtest.h>

#include <clocale>

namespace VarnelBase {
namespace {

struct HeaderCase {
    const char* header;
    const char* name;
};

TEST(DownloadedFileTest, OnlyABaseNameIsTakenFromTheHeader) {
    std::setlocale(LC_CTYPE, "C.UTF-8");
    for (const HeaderCase& given : {
             HeaderCase{"attachment; filename=\"bridge.zip\"", "bridge.zip"},
             {"attachment;FileName = bridge.zip ; size=3", "bridge.zip"},
             {"attachment; filename=\"a \\\"b\\\"; c.zip\"", "a \"b\"; c.zip"},
             {"attachment; filename=plain.zip; filename*=UTF-8''brücke.zip", "brücke.zip"},
             {"attachment; filename*=UTF-8'en'a%2Fb.zip", "a%2Fb.zip"},
             {"attachment; filename=\"../../etc/passwd\"", "passwd"},
             {"attachment; filename=\"C:\\\\windows\\\\win.ini\"", "win.ini"},
             {"attachment; filename=\"/\"", ""},
             {"attachment; filename=\".bashrc\"", ""},
             {"attachment; filename=\"a\x1b[2J.zip\"", ""},
             {"attachment; filename=\"a\xff.zip\"", ""},
             {"attachment; filename=", ""},
             {"attachment; filename", ""},
             {"", ""},
         }) {
        EXPECT_EQ(ReadFileName(given.header), given.name) << given.header;
    }
}

} // namespace
} // namespace VarnelBase
