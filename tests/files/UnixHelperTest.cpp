// UnixHelperTest.cpp - shell quoting with the framework's seven characters, and running
// commands with and without their output.
#include <fcntl.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "encodings/Encodings.h"
#include "files/UnixHelper.h"

namespace {

using namespace filestest;

string Escape(std::string_view text) {
    return UnixHelper::EscapeString(Utf8(text), string(UnixHelper::kShellSpecialCharacters));
}

TEST(UnixHelperEscape, FrameworkSet) {
    struct Case {
        std::string_view text;
        std::string_view escaped;
    } const cases[] = {
        {"My File (1).txt", "My\\ File\\ \\(1\\).txt"},
        {"'\"\\()& ", "\\'\\\"\\\\\\(\\)\\&\\ "},
        // Everything else passes as it is, shell-special or not.
        {"$HOME;ls|wc*?`x`", "$HOME;ls|wc*?`x`"},
        {"tab\there\nline", "tab\there\nline"},
        {"caf\xC3\xA9 na\xC3\xAFve", "caf\xC3\xA9\\ na\xC3\xAFve"},
        {"", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text));
        EXPECT_EQ(Std(Escape(c.text)), c.escaped);
    }
}

TEST(UnixHelperEscape, CallerChosenSetAndTheUtf8Tag) {
    EXPECT_EQ(Std(UnixHelper::EscapeString(string("a-b c"), string("-"))), "a\\-b c");
    EXPECT_EQ(Std(UnixHelper::EscapeString(string("abc"), string(""))), "abc");
    EXPECT_EQ(Escape("a b").Encoding(), kEncodingUTF8);
    // ASCII-tagged literal text is converted to UTF-8 first.
    EXPECT_EQ(UnixHelper::EscapeString(string("a b"), string(" ")).Encoding(), kEncodingUTF8);
}

TEST(UnixHelperEscape, ZeroByteEndsTheTextAfterItsBackslash) {
    // The terminator of the character set matches the zero byte, which is escaped and then
    // ends the text.
    EXPECT_EQ(Std(Escape(std::string_view("a\0b c", 5))), "a\\");
}

TEST(UnixHelperShell, CapturesStandardOutputAndErrorAlsoOfAFailingCommand) {
    const string out = UnixHelper::ExecuteShell(string("echo hi"), 1);
    EXPECT_EQ(Std(out), "hi\n");
    EXPECT_EQ(out.Encoding(), kEncodingUnknown);

    EXPECT_EQ(Std(UnixHelper::ExecuteShell(string("echo oops 1>&2"), 1)), "oops\n");
    EXPECT_EQ(Std(UnixHelper::ExecuteShell(string("echo a; echo b 1>&2; echo c"), 1)), "a\nb\nc\n");
    // A failing command gives its output only.
    EXPECT_EQ(Std(UnixHelper::ExecuteShell(string("echo partial; exit 3"), 1)), "partial\n");
    EXPECT_TRUE(UnixHelper::ExecuteShell(string("exit 1"), 1).IsEmpty());
}

TEST(UnixHelperShell, RunsBashNotSh) {
    // [[ ]] and $'...' exist only in bash.
    EXPECT_EQ(Std(UnixHelper::ExecuteShell(string("[[ 1 == 1 ]] && echo $'x\\ty'"), 1)), "x\ty\n");
}

TEST(UnixHelperShell, OutputLongerThanOneChunk) {
    const string out = UnixHelper::ExecuteShell(string("head -c 100000 /dev/zero | tr '\\0' z"), 1);
    ASSERT_EQ(out.Length(), 100000u);
    EXPECT_EQ(Std(out), std::string(100000, 'z'));
}

TEST(UnixHelperShell, WithoutCaptureRunsAndReturnsNothing) {
    TempFolder folder;
    ASSERT_TRUE(folder.Valid());
    const std::string marker = folder / "ran";
    const string out = UnixHelper::ExecuteShell(Utf8("touch " + marker + "; echo ignored"), 0);
    EXPECT_TRUE(out.IsEmpty());
    EXPECT_TRUE(PathExists(marker));  // waited for: the file is there already
}

TEST(UnixHelperShell, DescriptorsAboveTwoAreClosedInTheChild) {
    TempFolder folder;
    ASSERT_TRUE(folder.Valid());
    const std::string path = folder / "held";
    ASSERT_TRUE(WriteFile(path, "x"));
    const int fd = open(path.c_str(), O_RDONLY);  // inheritable: no O_CLOEXEC
    ASSERT_GT(fd, 2);
    const std::string probe =
        "if [ -e /proc/$$/fd/" + std::to_string(fd) + " ]; then echo open; else echo closed; fi";
    const std::string answer = Std(UnixHelper::ExecuteShell(Utf8(probe), 1));
    close(fd);
    EXPECT_EQ(answer, "closed\n");
}

}  // namespace
