// The XDG folders follow the environment and fall back to their defaults under HOME.

#include "platform/folders/PlatformFolders.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TestEnvironment.h"

namespace {

// Sets a variable (unsets it for nullptr) until the end of the scope.
struct ScopedEnv {
    ScopedEnv(char const* name, char const* value) : name(name) {
        if (char const* was = std::getenv(name)) {
            old = was;
        }
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
    char const* name;
    std::optional<std::string> old;
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

}  // namespace
