#pragma once
// Slash-separated path text and the rules that take it apart and put it together without
// touching the disk. LUnixPath and CoreUnixPath share these rules; they differ only in the
// name their null-text reports carry and in CoreUnixPath's file-system operations.

#include <cstddef>
#include <source_location>
#include <string>

#if defined(__cpp_lib_source_location)
using TUnixPathCaller = std::source_location;
#else
// clang 14 over libstdc++ 12 has no std::source_location; the builtins it stands on give the
// caller's place in a default argument all the same.
struct TUnixPathCaller {
    static constexpr TUnixPathCaller current(char const* file = __builtin_FILE(),
                                             char const* function = __builtin_FUNCTION(),
                                             unsigned line = __builtin_LINE()) noexcept {
        return {file, function, line};
    }
    constexpr char const* file_name() const noexcept { return mFile; }
    constexpr char const* function_name() const noexcept { return mFunction; }
    constexpr unsigned line() const noexcept { return mLine; }
    char const* mFile;
    char const* mFunction;
    unsigned mLine;
};
#endif

template <class Traits>
class TUnixPath {
public:
    TUnixPath() = default;
    explicit TUnixPath(char const* text) : mPath(text != nullptr ? text : "") {}
    explicit TUnixPath(std::string text) : mPath(std::move(text)) {}

    // True exactly for one character followed by '/': "a/" is a root path, "/" is not.
    static bool IsRootPath(char const* text);
    static bool AddTrailingSlash(std::string& path);
    static bool RemoveTrailingSlash(std::string& path);
    // The text after the last '.', wherever the slashes are ("a.b/c" gives "b/c").
    static bool GetPathExtension(std::string const& path, std::string& extension);
    // A '.' at index 1 or later that follows the last '/'.
    static bool HasValidFileExtension(std::string const& path);
    static bool AddPathExtension(std::string& path, std::string const& extension);
    // Drops the old extension (when the last component has one), then adds the new one.
    static bool ReplacePathExtension(std::string& path, std::string const& extension);
    // "/usr/lib/" gives "/usr/" (with its slash); "/usr" and "usr" have none.
    static bool GetPathParent(std::string const& path, std::string& parent);
    static bool GetPathJustName(std::string const& path, std::string& name);

    // A null text is reported under the caller's function, file and line.
    static bool IsFullyQualified(char const* text,
                                 TUnixPathCaller caller = TUnixPathCaller::current());
    static bool IsPartiallyQualified(char const* text,
                                     TUnixPathCaller caller = TUnixPathCaller::current());
    static bool IsQualified(char const* text, TUnixPathCaller caller = TUnixPathCaller::current());
    static bool IsJustName(char const* text);

    // The pair walk: each step yields the next non-empty component (`name`) and everything
    // before it (`base`, which ends in '/' unless the component starts the path). For
    // "/usr/lib" the pairs are ("/", "usr") and ("/usr/", "lib"); for "a//b/" they are
    // ("", "a") and ("a//", "b"). The walk ends when no component is left.
    static bool GetPathBasePartAndNamePart(std::string const& path, std::size_t from,
                                           std::string& base, std::string& name);
    static bool GetFirstPair(std::string const& path, std::string& base, std::string& name);
    // Continues after the pair held in base and name.
    static bool GetNextPair(std::string const& path, std::string& base, std::string& name);

    // The same rules on the object's own path.
    bool IsRootPath() const { return IsRootPath(mPath.c_str()); }
    bool AddTrailingSlash() { return AddTrailingSlash(mPath); }
    bool RemoveTrailingSlash() { return RemoveTrailingSlash(mPath); }
    bool GetPathExtension(std::string& extension) const {
        return GetPathExtension(mPath, extension);
    }
    bool HasValidFileExtension() const { return HasValidFileExtension(mPath); }
    bool AddPathExtension(std::string const& extension) {
        return AddPathExtension(mPath, extension);
    }
    bool ReplacePathExtension(std::string const& extension) {
        return ReplacePathExtension(mPath, extension);
    }
    bool GetPathParent(std::string& parent) const { return GetPathParent(mPath, parent); }
    bool GetPathJustName(std::string& name) const { return GetPathJustName(mPath, name); }
    bool IsFullyQualified() const { return IsFullyQualified(mPath.c_str()); }
    bool IsPartiallyQualified() const { return IsPartiallyQualified(mPath.c_str()); }
    bool IsQualified() const { return IsQualified(mPath.c_str()); }
    bool IsJustName() const { return IsJustName(mPath.c_str()); }

    char const* c_str() const { return mPath.c_str(); }
    std::string const& path() const { return mPath; }
    void assign(std::string text) { mPath = std::move(text); }

    static constexpr char s_slash_str_const[] = "/";

protected:
    std::string mPath;
};

struct LUnixPathTraits {
    static constexpr char kNotNullText[] = " code : LUnixPath_NotNull";
};
struct CoreUnixPathTraits {
    static constexpr char kNotNullText[] = " code : CoreUnixPath_NotNull";
};

extern template class TUnixPath<LUnixPathTraits>;
extern template class TUnixPath<CoreUnixPathTraits>;
