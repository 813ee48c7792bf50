#include "CoreX/CoreResourceBundle.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

#include <sys/stat.h>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/folders/PlatformFolders.h"

CoreResourceBundle::CoreResourceBundle(char const* fileName, char const* baseName)
    : mFileName(fileName), mBaseName(baseName) {}

CoreResourceBundle::~CoreResourceBundle() = default;

bool CoreResourceBundle::InstallLocation(bool install, int location) {
    if (install) {
        if (AlreadyInstalledSomewhere()) {
            return true;
        }
    } else {
        mLoader.Unload();
    }
    return InstallBaseFileNameLocation(mBaseName, mFileName, install, location);
}

bool CoreResourceBundle::InstallBaseFileNameLocation(char const* baseName, char const* fileName,
                                                     bool install, int location) {
    if (baseName == nullptr || fileName == nullptr) {
        return false;
    }
    std::string const resource = PlatformFolders::FolderPath(PlatformFolders::kApplicationResources) +
                                 "/" + baseName + ".component";
    std::string const destination = CFBaseDLL::URLOfNameInLocation(fileName, location);
    if (destination.empty()) {
        return false;
    }
    struct stat info {};
    bool const destinationExists = lstat(destination.c_str(), &info) == 0;
    if (install) {
        if (access(resource.c_str(), R_OK) != 0 || destinationExists) {
            return false;
        }
        // The user's components folder does not exist on a fresh system.
        std::string const folder = destination.substr(0, destination.rfind('/'));
        if (!PlatformFolders::FolderExists(folder)) {
            VERIFY(PlatformFolders::MakeFolders(folder));
        }
        bool const linked = symlink(resource.c_str(), destination.c_str()) == 0;
        if (!linked) {
            CoreMachDebugLog("Cannot link %s: %s", destination.c_str(), std::strerror(errno));
        }
        return linked;
    }
    return destinationExists && unlink(destination.c_str()) == 0;
}
