#pragma once
// Where Duoscope keeps things on a Linux desktop: the XDG base directories for per-user
// state, the component folders, and the application's own resources.

#include <string>

namespace PlatformFolders {

enum FolderKind {
    kUserLogsFolder,          // $XDG_STATE_HOME/Duoscope
    kUserConfigFolder,        // $XDG_CONFIG_HOME/Duoscope
    kUserComponentsFolder,    // $XDG_DATA_HOME/duoscope/components
    kSystemComponentsFolder,  // /usr/lib/duoscope/components
    kLocalComponentsFolder,   // /usr/local/lib/duoscope/components
    kSystemFrameworksFolder,  // /usr/lib
    kLocalFrameworksFolder,   // /usr/local/lib
    kApplicationResources,    // <prefix>/share/duoscope, or the build's resource folder
};

enum CreateMode { kDontCreateFolder, kCreateFolder };

// Fills `path` with the folder (no trailing slash). Returns 0, or fnfErr (-43) when the
// folder does not exist and was not to be created (or could not be), in which case `path`
// still names where it would be.
int FindFolder(FolderKind kind, CreateMode mode, std::string& path);

// The folder's path whether or not it exists.
std::string FolderPath(FolderKind kind);

bool FolderExists(std::string const& path);

// Creates the folder and its missing parents with mode 0700 for per-user folders.
bool MakeFolders(std::string const& path);

}  // namespace PlatformFolders
