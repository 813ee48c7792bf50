#pragma once
// Loading a shared object by name from the places the system keeps them (the user's, the
// system's and the local components folders), and looking its functions up by name.

#include <string>

namespace CFBaseDLL {

// Where a named file is looked for.
enum Location : int {
    kLocationSystemFrameworks = 1,   // /usr/lib
    kLocationLocalFrameworks = 2,    // /usr/local/lib
    kLocationLocalComponents = 8,    // /usr/local/lib/duoscope/components
    kLocationSystemComponents = 9,   // /usr/lib/duoscope/components
    kLocationUserComponents = 10,    // $XDG_DATA_HOME/duoscope/components
};

// The path of `name` in `location`, or empty for a location that names no folder. The
// folder need not exist.
std::string URLOfNameInLocation(std::string const& name, int location);

// Puts the system-wide folders (not the user's) under `root`, as a staged install does;
// empty for the real ones.
void SetSystemRoot(std::string root);

}  // namespace CFBaseDLL

// The loader interface: one shared object, loaded and unloaded as a whole.
class I_CFBundleDLL {
public:
    virtual ~I_CFBundleDLL() = default;
    virtual bool LoadFromURL(std::string const& path) = 0;
    virtual bool LoadSystemFramework(char const* name) = 0;
    // Tries the user's, then the system's, then the local components folder.
    virtual bool LoadQuickTimeComponentBundle(char const* name) = 0;
    virtual bool Unload() = 0;
    virtual bool IsExecutableLoaded() const = 0;
    virtual void* FunctionPointerForName(char const* name) const = 0;
};

template <class Interface>
class T_CFBaseDLL : public Interface {
public:
    T_CFBaseDLL() = default;
    T_CFBaseDLL(T_CFBaseDLL const&) = delete;
    T_CFBaseDLL& operator=(T_CFBaseDLL const&) = delete;
    ~T_CFBaseDLL() override { Unload(); }

    bool LoadFromURL(std::string const& path) override;
    bool LoadSystemFramework(char const* name) override;
    bool LoadQuickTimeComponentBundle(char const* name) override;
    bool Unload() override;
    bool IsExecutableLoaded() const override { return mBundle != nullptr; }
    void* FunctionPointerForName(char const* name) const override;

    void SetName(char const* name) { mName = name; }
    // Where the loaded object was found; empty when nothing is loaded.
    std::string const& LoadedPath() const { return mLoadedPath; }

private:
    char const* mName = nullptr;  // not owned
    void* mBundle = nullptr;      // the dlopen handle
    std::string mLoadedPath;
};

extern template class T_CFBaseDLL<I_CFBundleDLL>;
