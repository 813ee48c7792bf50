#pragma once
// A path with the shared path rules plus the file-system operations the component installer
// needs: existence and access tests, delete, symbolic link, working folder.

#include <string>

#include "CoreX/TUnixPath.h"

class CoreUnixPath : public TUnixPath<CoreUnixPathTraits> {
public:
    using TUnixPath::TUnixPath;

    bool Construct(char const* text);
    bool Construct(std::string const& text) { return Construct(text.c_str()); }
    // From a "file://" URL: its percent-decoded path. Other schemes are refused.
    bool ConstructFromFileURL(std::string const& url);
    bool GetParent(CoreUnixPath& parent) const;

    static bool FileExists(char const* path);           // access(path, F_OK)
    static bool FileExistsRead(char const* path);       // access(path, R_OK)
    static bool FileExistsReadWrite(char const* path);  // access(path, R_OK | W_OK)
    // Read and write, like FileExistsReadWrite: a write-only file does not count.
    static bool FileExistsWrite(char const* path);
    static bool FileDelete(char const* in_path);
    static bool FolderDelete(char const* in_path);
    // Makes a symbolic link at `from` that points at `to`.
    static bool MakeSymbolicLinkFromTo(char const* from, char const* to);

    bool FileExists() const { return FileExists(c_str()); }
    bool FileExistsRead() const { return FileExistsRead(c_str()); }
    bool FileDelete() const { return FileDelete(c_str()); }

    // The current working folder, and changing to this path.
    bool getcwd();
    bool chdir() const;
};
