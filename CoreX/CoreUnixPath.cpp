#include "CoreX/CoreUnixPath.h"

#include <cctype>
#include <climits>
#include <string_view>
#include <unistd.h>

#include "CoreX/CoreMachDebugLog.h"

bool CoreUnixPath::Construct(char const* text) {
    if (text == nullptr) {
        VERIFY(text != nullptr);
        return false;
    }
    mPath = text;
    return true;
}

bool CoreUnixPath::ConstructFromFileURL(std::string const& url) {
    constexpr std::string_view kScheme = "file://";
    if (url.compare(0, kScheme.size(), kScheme) != 0) {
        return false;
    }
    std::string decoded;
    for (std::size_t i = kScheme.size(); i < url.size(); ++i) {
        if (url[i] == '%' && i + 2 < url.size() &&
            std::isxdigit(static_cast<unsigned char>(url[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(url[i + 2]))) {
            decoded += static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            decoded += url[i];
        }
    }
    return Construct(decoded);
}

bool CoreUnixPath::GetParent(CoreUnixPath& parent) const {
    std::string text;
    return GetPathParent(text) && parent.Construct(text);
}

bool CoreUnixPath::FileExists(char const* path) {
    return path != nullptr && access(path, F_OK) == 0;
}

bool CoreUnixPath::FileExistsRead(char const* path) {
    return path != nullptr && access(path, R_OK) == 0;
}

bool CoreUnixPath::FileExistsReadWrite(char const* path) {
    return path != nullptr && access(path, R_OK | W_OK) == 0;
}

bool CoreUnixPath::FileExistsWrite(char const* path) { return FileExistsReadWrite(path); }

bool CoreUnixPath::FileDelete(char const* in_path) {
    bool fOk = false;
    fOk = in_path != nullptr && 0 == unlink(in_path);
    VERIFY_TEXT(fOk, "fOk = (0==unlink(in_path))");
    return fOk;
}

bool CoreUnixPath::FolderDelete(char const* in_path) {
    bool fOk = false;
    VERIFY(fOk = (in_path != nullptr && 0 == rmdir(in_path)));
    return fOk;
}

bool CoreUnixPath::MakeSymbolicLinkFromTo(char const* from, char const* to) {
    bool fOk = false;
    VERIFY(fOk = (from != nullptr && to != nullptr && 0 == symlink(to, from)));
    return fOk;
}

bool CoreUnixPath::getcwd() {
    char buffer[PATH_MAX];
    bool fOk = false;
    fOk = nullptr != ::getcwd(buffer, sizeof(buffer));
    VERIFY_TEXT(fOk, "::getcwd(cwd.buffer,sizeof(cwd.buffer))");
    if (fOk) {
        mPath = buffer;
    }
    return fOk;
}

bool CoreUnixPath::chdir() const {
    if (mPath.empty()) {
        return false;
    }
    bool fOk = false;
    VERIFY(fOk = (0 == ::chdir(mPath.c_str())));
    return fOk;
}
