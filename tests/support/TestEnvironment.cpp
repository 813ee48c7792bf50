#include "tests/support/TestEnvironment.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include <gtest/gtest.h>

namespace TestEnvironment {
namespace {

std::string MakeHome() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/duoscope-test-XXXXXX";
    char* made = mkdtemp(pattern.data());
    if (made == nullptr) {
        std::abort();
    }
    std::string home = made;
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
    setenv("XDG_STATE_HOME", (home + "/.local/state").c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (home + "/run").c_str(), 1);
    std::filesystem::create_directories(home + "/run");
    std::filesystem::permissions(home + "/run", std::filesystem::perms::owner_all);
    return home;
}

class HomeCleaner : public ::testing::Environment {
public:
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(Home(), ignored);
    }
};

// Set up before main runs, so even static initialisers see the temporary home.
std::string const sHome = MakeHome();
::testing::Environment* const sCleaner = ::testing::AddGlobalTestEnvironment(new HomeCleaner);

}  // namespace

std::string const& Home() { return sHome; }

std::string ReadFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

bool WriteFile(std::string const& path, std::string const& contents) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
    return static_cast<bool>(out);
}

}  // namespace TestEnvironment
