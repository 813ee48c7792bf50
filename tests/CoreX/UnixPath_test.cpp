// Path rules that read oddly but are relied on, and the file-system operations.

#include <filesystem>
#include <unistd.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "CoreX/CoreUnixPath.h"
#include "CoreX/LUnixPath.h"
#include "tests/support/TestEnvironment.h"

namespace {

TEST(UnixPathRules, RootPathIsOneCharacterThenSlash) {
    EXPECT_FALSE(LUnixPath::IsRootPath("/"));
    EXPECT_TRUE(LUnixPath::IsRootPath("a/"));
    EXPECT_FALSE(LUnixPath::IsRootPath(""));
    EXPECT_FALSE(LUnixPath::IsRootPath(nullptr));
    EXPECT_FALSE(LUnixPath::IsRootPath("ab/"));
}

TEST(UnixPathRules, TrailingSlashes) {
    std::string path;
    EXPECT_TRUE(LUnixPath::AddTrailingSlash(path));
    EXPECT_EQ(path, "/");
    path = "a/";
    EXPECT_FALSE(LUnixPath::AddTrailingSlash(path));
    EXPECT_EQ(path, "a/");
    EXPECT_TRUE(LUnixPath::RemoveTrailingSlash(path));
    EXPECT_EQ(path, "a");
    EXPECT_FALSE(LUnixPath::RemoveTrailingSlash(path));
}

TEST(UnixPathRules, ExtensionsDisagreeAboutDotsInFolderNames) {
    std::string extension;
    EXPECT_TRUE(LUnixPath::GetPathExtension("a.b/c", extension));
    EXPECT_EQ(extension, "b/c");
    EXPECT_FALSE(LUnixPath::HasValidFileExtension("a.b/c"));
    EXPECT_FALSE(LUnixPath::GetPathExtension(".profile", extension));
    EXPECT_TRUE(LUnixPath::HasValidFileExtension("/x/y.png"));
    EXPECT_FALSE(LUnixPath::GetPathExtension("b/", extension)) << "root path refused";

    std::string x = "x";
    EXPECT_TRUE(LUnixPath::AddPathExtension(x, "txt"));
    EXPECT_EQ(x, "x.txt");
    std::string y = "x";
    EXPECT_TRUE(LUnixPath::AddPathExtension(y, ".txt"));
    EXPECT_EQ(y, "x.txt");
    std::string root = "a/";
    EXPECT_FALSE(LUnixPath::AddPathExtension(root, "txt"));
    EXPECT_EQ(root, "a/");

    std::string replaced = "/d.x/file.jpeg";
    EXPECT_TRUE(LUnixPath::ReplacePathExtension(replaced, "png"));
    EXPECT_EQ(replaced, "/d.x/file.png");
    std::string bare = "/d.x/file";
    EXPECT_TRUE(LUnixPath::ReplacePathExtension(bare, "png"));
    EXPECT_EQ(bare, "/d.x/file.png") << "a dot in a folder name is not an extension";
}

TEST(UnixPathRules, ParentAndJustName) {
    std::string out;
    EXPECT_TRUE(LUnixPath::GetPathParent("/usr/lib/", out));
    EXPECT_EQ(out, "/usr/");
    EXPECT_FALSE(LUnixPath::GetPathParent("/usr", out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(LUnixPath::GetPathParent("usr", out));
    EXPECT_TRUE(LUnixPath::GetPathJustName("/usr/lib/", out));
    EXPECT_EQ(out, "lib");
    EXPECT_FALSE(LUnixPath::GetPathJustName("lib", out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(LUnixPath::GetPathJustName("/a", out));
}

TEST(UnixPathRules, Qualification) {
    EXPECT_TRUE(CoreUnixPath::IsFullyQualified("/a"));
    EXPECT_TRUE(CoreUnixPath::IsPartiallyQualified("a/b"));
    EXPECT_FALSE(CoreUnixPath::IsPartiallyQualified("/a/b"));
    EXPECT_TRUE(CoreUnixPath::IsQualified("a/b"));
    EXPECT_TRUE(CoreUnixPath::IsJustName("a"));
    EXPECT_FALSE(CoreUnixPath::IsJustName(""));
    EXPECT_FALSE(CoreUnixPath::IsJustName(nullptr));
    EXPECT_FALSE(CoreUnixPath::IsFullyQualified(nullptr));
}

std::vector<std::pair<std::string, std::string>> Pairs(std::string const& path) {
    std::vector<std::pair<std::string, std::string>> pairs;
    std::string base, name;
    for (bool more = LUnixPath::GetFirstPair(path, base, name); more;
         more = LUnixPath::GetNextPair(path, base, name)) {
        pairs.emplace_back(base, name);
    }
    return pairs;
}

TEST(UnixPathRules, PairWalkVisitsEachComponentWithItsBase) {
    using P = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(Pairs("/usr/lib/x.so"), (P{{"/", "usr"}, {"/usr/", "lib"}, {"/usr/lib/", "x.so"}}));
    EXPECT_EQ(Pairs("a//b/"), (P{{"", "a"}, {"a//", "b"}}));
    EXPECT_EQ(Pairs("/"), P{});
    EXPECT_EQ(Pairs(""), P{});
}

class FileSystemTest : public ::testing::Test {
protected:
    std::string Dir() const { return TestEnvironment::Home() + "/paths"; }
    void SetUp() override { std::filesystem::create_directories(Dir()); }
    void TearDown() override { std::filesystem::remove_all(Dir()); }
};

TEST_F(FileSystemTest, AccessTestsDeleteAndLinks) {
    std::string const file = Dir() + "/f";
    ASSERT_TRUE(TestEnvironment::WriteFile(file, "x"));
    EXPECT_TRUE(CoreUnixPath::FileExists(file.c_str()));
    EXPECT_TRUE(CoreUnixPath::FileExistsRead(file.c_str()));
    std::string const link = Dir() + "/link";
    EXPECT_TRUE(CoreUnixPath::MakeSymbolicLinkFromTo(link.c_str(), file.c_str()));
    EXPECT_EQ(std::filesystem::read_symlink(link), file);
    EXPECT_FALSE(CoreUnixPath::MakeSymbolicLinkFromTo(link.c_str(), file.c_str()));
    EXPECT_TRUE(CoreUnixPath::FileDelete(link.c_str()));
    EXPECT_TRUE(CoreUnixPath::FileExists(file.c_str())) << "deleting a link keeps its target";
    EXPECT_FALSE(CoreUnixPath::FileDelete(link.c_str()));
    EXPECT_TRUE(CoreUnixPath::FolderDelete((Dir() + "/../paths/").c_str()) == false);
}

TEST_F(FileSystemTest, WriteTestNeedsReadToo) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root passes every access test";
    }
    std::string const file = Dir() + "/writeonly";
    ASSERT_TRUE(TestEnvironment::WriteFile(file, "x"));
    chmod(file.c_str(), 0200);
    EXPECT_FALSE(CoreUnixPath::FileExistsWrite(file.c_str()));
    EXPECT_FALSE(CoreUnixPath::FileExistsRead(file.c_str()));
}

TEST_F(FileSystemTest, UrlsAndWorkingFolder) {
    CoreUnixPath path;
    EXPECT_TRUE(path.ConstructFromFileURL("file:///tmp/a%20b/c"));
    EXPECT_EQ(path.path(), "/tmp/a b/c");
    EXPECT_FALSE(path.ConstructFromFileURL("http://example/x"));
    CoreUnixPath parent;
    EXPECT_TRUE(path.GetParent(parent));
    EXPECT_EQ(parent.path(), "/tmp/a b/");

    CoreUnixPath saved;
    ASSERT_TRUE(saved.getcwd());
    CoreUnixPath target(Dir());
    EXPECT_TRUE(target.chdir());
    CoreUnixPath now;
    ASSERT_TRUE(now.getcwd());
    EXPECT_EQ(std::filesystem::canonical(now.path()), std::filesystem::canonical(Dir()));
    EXPECT_TRUE(saved.chdir());
    EXPECT_FALSE(CoreUnixPath().chdir());
}

}  // namespace
