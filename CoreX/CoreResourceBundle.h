#pragma once
// A shared object carried among the application's resources and installed, by a symbolic
// link (never a copy), into a folder where other programs find it.

#include "CoreX/CFBaseDLL.h"

class CoreResourceBundle {
public:
    CoreResourceBundle(char const* fileName, char const* baseName);
    virtual ~CoreResourceBundle();

    // Installing: nothing to do when it is already installed where it is looked for.
    // Uninstalling: unloads it first. Then links or removes `fileName` at `location`.
    bool InstallLocation(bool install, int location);
    // Links (install) the resource "<baseName>.component" as `fileName` at `location`, or
    // removes (uninstall) whatever is there. False when the resource is missing, the
    // destination exists already (install) or does not (uninstall), or the file system
    // refuses.
    bool InstallBaseFileNameLocation(char const* baseName, char const* fileName, bool install,
                                     int location);
    virtual bool AlreadyInstalledSomewhere() const { return false; }

    T_CFBaseDLL<I_CFBundleDLL> mLoader;

protected:
    char const* mFileName;
    char const* mBaseName;
};
