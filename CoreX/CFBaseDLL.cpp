#include "CoreX/CFBaseDLL.h"

#include <dlfcn.h>
#include <unistd.h>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/folders/PlatformFolders.h"

namespace CFBaseDLL {
namespace {

std::string sSystemRoot;

}  // namespace

void SetSystemRoot(std::string root) { sSystemRoot = std::move(root); }

std::string URLOfNameInLocation(std::string const& name, int location) {
    using namespace PlatformFolders;
    switch (location) {
        case kLocationSystemFrameworks:
            return sSystemRoot + FolderPath(kSystemFrameworksFolder) + "/" + name;
        case kLocationLocalFrameworks:
            return sSystemRoot + FolderPath(kLocalFrameworksFolder) + "/" + name;
        case kLocationLocalComponents:
            return sSystemRoot + FolderPath(kLocalComponentsFolder) + "/" + name;
        case kLocationSystemComponents:
            return sSystemRoot + FolderPath(kSystemComponentsFolder) + "/" + name;
        case kLocationUserComponents:
            return FolderPath(kUserComponentsFolder) + "/" + name;
        default:
            return {};
    }
}

}  // namespace CFBaseDLL

template <class Interface>
bool T_CFBaseDLL<Interface>::LoadFromURL(std::string const& path) {
    if (path.empty() || access(path.c_str(), R_OK) != 0) {
        return false;
    }
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        CoreMachDebugLog("Cannot load %s: %s", path.c_str(), dlerror());
        return false;
    }
    mBundle = handle;
    mLoadedPath = path;
    return true;
}

template <class Interface>
bool T_CFBaseDLL<Interface>::LoadSystemFramework(char const* name) {
    if (name != nullptr) {
        mName = name;
    }
    if (IsExecutableLoaded()) {
        return true;
    }
    if (mName == nullptr) {
        return false;
    }
    return LoadFromURL(CFBaseDLL::URLOfNameInLocation(mName, CFBaseDLL::kLocationSystemFrameworks));
}

template <class Interface>
bool T_CFBaseDLL<Interface>::LoadQuickTimeComponentBundle(char const* name) {
    for (int const location : {CFBaseDLL::kLocationUserComponents,
                               CFBaseDLL::kLocationSystemComponents,
                               CFBaseDLL::kLocationLocalComponents}) {
        if (name != nullptr) {
            mName = name;
        }
        if (IsExecutableLoaded()) {
            return true;
        }
        if (mName != nullptr && LoadFromURL(CFBaseDLL::URLOfNameInLocation(mName, location))) {
            return true;
        }
    }
    return false;
}

template <class Interface>
bool T_CFBaseDLL<Interface>::Unload() {
    if (mBundle == nullptr) {
        return false;
    }
    VERIFY(dlclose(mBundle) == 0);
    mBundle = nullptr;
    mLoadedPath.clear();
    return true;
}

template <class Interface>
void* T_CFBaseDLL<Interface>::FunctionPointerForName(char const* name) const {
    return mBundle != nullptr && name != nullptr ? dlsym(mBundle, name) : nullptr;
}

template class T_CFBaseDLL<I_CFBundleDLL>;
