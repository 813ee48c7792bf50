// The XDG folders follow the environment and fall back to their defaults under HOME.

#include "platform/folders/PlatformFolders.h"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TestEnvironment.h"

namespace {

class ScopedEnv {
public:
    ScopedEnv(char const* name, char const* value) : mName(name) {
        if (char const* old = std::getenv(name)) {
            mOld = old;
            mHadOld = true;
        }
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }
    ~ScopedEnv() {
        if (mHadOld) {
            setenv(mName, mOld.c_str(), 1);
        } else {
            unsetenv(mName);
        }
    }

private:
    char const* mName;
    std::string mOld;
    bool mHadOld = false;
};

TEST(PlatformFoldersTest, XdgVariablesAndTheirDefaults) {
    std::string const home = TestEnvironment::Home();
    {
        ScopedEnv state("XDG_STATE_HOME", nullptr);
        ScopedEnv config("XDG_CONFIG_HOME", "relative/ignored");
        EXPECT_EQ(PlatformFolders::FolderPath(PlatformFolders::kUserLogsFolder),
                  home + "/.local/state/Duoscope");
        EXPECT_EQ(PlatformFolders::FolderPath(PlatformFolders::kUserConfigFolder),
                  home + "/.config/Duoscope")
            << "a relative XDG path is not used";
    }
    ScopedEnv data("XDG_DATA_HOME", "/elsewhere/data");
    EXPECT_EQ(PlatformFolders::FolderPath(PlatformFolders::kUserComponentsFolder),
              "/elsewhere/data/duoscope/components");
    EXPECT_EQ(PlatformFolders::FolderPath(PlatformFolders::kSystemComponentsFolder),
              "/usr/lib/duoscope/components");
}

TEST(PlatformFoldersTest, FindFolderCreatesOnlyWhenAsked) {
    std::string path;
    std::filesystem::remove_all(TestEnvironment::Home() + "/.local/share");
    EXPECT_EQ(PlatformFolders::FindFolder(PlatformFolders::kUserComponentsFolder,
                                          PlatformFolders::kDontCreateFolder, path),
              -43);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(PlatformFolders::FindFolder(PlatformFolders::kUserComponentsFolder,
                                          PlatformFolders::kCreateFolder, path),
              0);
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

}  // namespace
