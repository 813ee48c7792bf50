#include "platform/folders/PlatformFolders.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <unistd.h>

#include <sys/stat.h>

namespace PlatformFolders {
namespace {

std::string HomeFolder() {
    char const* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') {
        return home;
    }
    passwd const* entry = getpwuid(getuid());
    return entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "/";
}

// An XDG variable counts only when it holds an absolute path; otherwise its default under
// the home folder applies.
std::string XdgFolder(char const* variable, char const* defaultUnderHome) {
    char const* value = std::getenv(variable);
    if (value != nullptr && value[0] == '/') {
        return value;
    }
    return HomeFolder() + "/" + defaultUnderHome;
}

// Installed, the resources sit at a fixed place relative to the program (the tree can be
// moved as a whole); a program run from the build tree, or a test, uses the build's staged
// folder; the configured install location is the last resort.
std::string ApplicationResourcesFolder() {
    std::error_code error;
    std::filesystem::path const exe = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        std::filesystem::path const installed =
            (exe.parent_path() / DUOSCOPE_RESOURCES_FROM_BINDIR).lexically_normal();
        if (std::filesystem::is_directory(installed, error)) {
            return installed.string();
        }
    }
    if (std::filesystem::is_directory(DUOSCOPE_BUILD_RESOURCE_DIR, error)) {
        return DUOSCOPE_BUILD_RESOURCE_DIR;
    }
    return DUOSCOPE_INSTALLED_RESOURCE_DIR;
}

}  // namespace

std::string FolderPath(FolderKind kind) {
    switch (kind) {
        case kUserLogsFolder:
            return XdgFolder("XDG_STATE_HOME", ".local/state") + "/Duoscope";
        case kUserConfigFolder:
            return XdgFolder("XDG_CONFIG_HOME", ".config") + "/Duoscope";
        case kUserComponentsFolder:
            return XdgFolder("XDG_DATA_HOME", ".local/share") + "/duoscope/components";
        case kSystemComponentsFolder:
            return "/usr/lib/duoscope/components";
        case kLocalComponentsFolder:
            return "/usr/local/lib/duoscope/components";
        case kSystemFrameworksFolder:
            return "/usr/lib";
        case kLocalFrameworksFolder:
            return "/usr/local/lib";
        case kApplicationResources:
            return ApplicationResourcesFolder();
    }
    return {};
}

bool FolderExists(std::string const& path) {
    struct stat info {};
    return !path.empty() && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool MakeFolders(std::string const& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        return false;
    }
    chmod(path.c_str(), 0700);
    return FolderExists(path);
}

int FindFolder(FolderKind kind, CreateMode mode, std::string& path) {
    constexpr int kFileNotFound = -43;
    path = FolderPath(kind);
    if (FolderExists(path)) {
        return 0;
    }
    if (mode == kCreateFolder && MakeFolders(path)) {
        return 0;
    }
    return kFileNotFound;
}

}  // namespace PlatformFolders
