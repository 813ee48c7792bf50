// Path rules that read oddly but are relied on, and the file-system operations.

#include <filesystem>
#include <functional>
#include <tuple>
#include <unistd.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "CoreX/CoreUnixPath.h"
#include "CoreX/LUnixPath.h"
#include "tests/support/TestEnvironment.h"
#include "tests/support/TestLogCapture.h"

namespace {

// An operation that fills an output text, as one that rewrites its input.
template <bool (*Op)(std::string const&, std::string&)>
bool Out(std::string& text) {
    std::string out;
    bool const ok = Op(text, out);
    text = out;
    return ok;
}

TEST(UnixPathRules, TextRulesThatReadOddly) {
    using LP = LUnixPath;
    // Input, operation, result and the text after.
    std::tuple<char const*, std::function<bool(std::string&)>, bool, char const*> const cases[] = {
        {"a.b/c", Out<&LP::GetPathExtension>, true, "b/c"},  // slashes are not looked at
        {".profile", Out<&LP::GetPathExtension>, false, ""},
        {"/usr/lib/", Out<&LP::GetPathParent>, true, "/usr/"},
        {"/usr", Out<&LP::GetPathParent>, false, ""},
        {"/usr/lib/", Out<&LP::GetPathJustName>, true, "lib"},
        {"lib", Out<&LP::GetPathJustName>, false, ""},
        {"x", [](std::string& s) { return LP::AddPathExtension(s, ".txt"); }, true, "x.txt"},
        {"a/", [](std::string& s) { return LP::AddPathExtension(s, "txt"); }, false, "a/"},
        {"/d.x/f", [](std::string& s) { return LP::ReplacePathExtension(s, "png"); }, true,
         "/d.x/f.png"},
        {"", [](std::string& s) { return LP::AddTrailingSlash(s); }, true, "/"},
        {"a/", [](std::string& s) { return LP::AddTrailingSlash(s); }, false, "a/"},
    };
    for (auto const& [in, op, ok, out] : cases) {
        std::string text = in;
        EXPECT_EQ(op(text), ok) << in << " -> " << out;
        EXPECT_EQ(text, out) << in;
    }
    EXPECT_TRUE(!LP::IsRootPath("/") && LP::IsRootPath("a/")) << "one character and a slash";
    EXPECT_FALSE(LP::HasValidFileExtension("a.b/c"));
    EXPECT_FALSE(CoreUnixPath::IsPartiallyQualified("/a/b"));
    EXPECT_TRUE(CoreUnixPath::IsJustName("a"));
}

TEST(UnixPathRules, NullTextIsReportedAtTheCallersLine) {
    TestLogCapture log;
    EXPECT_FALSE(CoreUnixPath::IsFullyQualified(nullptr));
    int const line = __LINE__ - 1;
    EXPECT_FALSE(LUnixPath::IsQualified(nullptr));
    EXPECT_FALSE(CoreUnixPath::IsJustName(nullptr));
    EXPECT_TRUE(log.Contains(" code : CoreUnixPath_NotNull in tests/CoreX/UnixPath_test.cpp:" +
                             std::to_string(line) + " ("));
    EXPECT_TRUE(log.Contains(" code : LUnixPath_NotNull in tests/CoreX/UnixPath_test.cpp:"));
    EXPECT_EQ(log.Lines().find("CoreX/TUnixPath"), std::string::npos) << log.Lines();
}

TEST(FileSystem, AccessTestsDeleteLinksUrlsAndWorkingFolder) {
    std::string const dir = TestEnvironment::Home() + "/paths";
    std::filesystem::create_directories(dir);
    TestLogCapture log;
    std::string const file = dir + "/f";
    ASSERT_TRUE(TestEnvironment::WriteFile(file, "x"));
    EXPECT_TRUE(CoreUnixPath::FileExistsRead(file.c_str()));
    std::string const link = dir + "/link";
    EXPECT_TRUE(CoreUnixPath::MakeSymbolicLinkFromTo(link.c_str(), file.c_str()));
    EXPECT_EQ(std::filesystem::read_symlink(link), file);
    EXPECT_TRUE(CoreUnixPath::FileDelete(link.c_str()));
    EXPECT_TRUE(CoreUnixPath::FileExists(file.c_str())) << "deleting a link keeps its target";
    EXPECT_FALSE(CoreUnixPath::FileDelete(link.c_str()));
    EXPECT_TRUE(log.Contains(" code : fOk = (0==unlink(in_path)) in CoreX/CoreUnixPath.cpp:"));

    CoreUnixPath path;
    EXPECT_TRUE(path.ConstructFromFileURL("file:///tmp/a%20b/c"));
    EXPECT_EQ(path.path(), "/tmp/a b/c");
    EXPECT_FALSE(path.ConstructFromFileURL("http://example/x"));
    CoreUnixPath parent;
    EXPECT_TRUE(path.GetParent(parent));
    EXPECT_EQ(parent.path(), "/tmp/a b/");

    CoreUnixPath saved;
    ASSERT_TRUE(saved.getcwd());
    EXPECT_TRUE(CoreUnixPath(dir).chdir());
    CoreUnixPath now;
    ASSERT_TRUE(now.getcwd());
    EXPECT_EQ(std::filesystem::canonical(now.path()), std::filesystem::canonical(dir));
    EXPECT_TRUE(saved.chdir());
    EXPECT_FALSE(CoreUnixPath().chdir());
    std::filesystem::remove_all(dir);
}

TEST(FileSystem, WriteTestNeedsReadToo) {
    // Root passes every access test: the check runs in a child that gives up root first, on
    // a file in a folder that user can reach.
    char folder[] = "/tmp/duoscope-writeonly-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    std::string const file = std::string(folder) + "/f";
    ASSERT_TRUE(TestEnvironment::WriteFile(file, "x"));
    ASSERT_EQ(chmod(file.c_str(), 0222), 0);
    ASSERT_EQ(chmod(folder, 0755), 0);
    pid_t const child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
            _exit(3);
        }
        bool const canWrite = access(file.c_str(), W_OK) == 0;
        _exit(!canWrite ? 4 : (CoreUnixPath::FileExistsWrite(file.c_str()) ? 1 : 0));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    std::filesystem::remove_all(folder);
    // Exit 1: a write-only file counted as writable; 3: root could not be given up; 4: the
    // child cannot write the file at all.
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

}  // namespace
