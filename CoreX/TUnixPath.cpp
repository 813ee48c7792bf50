#include "CoreX/TUnixPath.h"

#include <string_view>

#include "CoreX/CoreMachDebugLog.h"

namespace {

bool ReportNullText(TUnixPathCaller const& caller, char const* text) {
    _CoreMachDebugVerifyBody(caller.function_name(), caller.file_name(),
                             static_cast<int>(caller.line()), text);
    return false;
}

}  // namespace

template <class Traits>
bool TUnixPath<Traits>::IsRootPath(char const* text) {
    return text != nullptr && text[0] != '\0' && text[1] == '/' && text[2] == '\0';
}

template <class Traits>
bool TUnixPath<Traits>::AddTrailingSlash(std::string& path) {
    if (!path.empty() && path.back() == '/') {
        return false;
    }
    path += s_slash_str_const;
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::RemoveTrailingSlash(std::string& path) {
    if (path.empty() || path.back() != '/') {
        return false;
    }
    path.pop_back();
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::GetPathExtension(std::string const& path, std::string& extension) {
    extension.clear();
    if (IsRootPath(path.c_str())) {
        return false;
    }
    std::size_t const dot = path.rfind('.');
    if (dot == std::string::npos || dot < 1) {
        return false;
    }
    extension = path.substr(dot + 1);
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::HasValidFileExtension(std::string const& path) {
    std::size_t const dot = path.rfind('.');
    if (dot == std::string::npos || dot < 1) {
        return false;
    }
    std::size_t const slash = path.rfind('/');
    return slash == std::string::npos || dot > slash;
}

template <class Traits>
bool TUnixPath<Traits>::AddPathExtension(std::string& inout_path, std::string const& extension) {
    if (IsRootPath(inout_path.c_str())) {
        VERIFY(!IsRootPath(inout_path.c_str()));
        return false;
    }
    if (extension.empty() || extension[0] != '.') {
        inout_path += '.';
    }
    inout_path += extension;
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::ReplacePathExtension(std::string& path, std::string const& in_extension) {
    if (HasValidFileExtension(path)) {
        path.erase(path.rfind('.'));
    }
    bool const fOk = AddPathExtension(path, in_extension);
    VERIFY_TEXT(fOk, "fOk = LUnixPath::AddPathExtension(path,in_extension)");
    return fOk;
}

template <class Traits>
bool TUnixPath<Traits>::GetPathParent(std::string const& path, std::string& parent) {
    parent.clear();
    if (IsRootPath(path.c_str())) {
        return false;
    }
    std::string copy = path;
    RemoveTrailingSlash(copy);
    std::size_t const slash = copy.rfind('/');
    if (slash == std::string::npos || slash < 1) {
        return false;
    }
    parent = copy.substr(0, slash) + s_slash_str_const;
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::GetPathJustName(std::string const& path, std::string& name) {
    name.clear();
    if (IsRootPath(path.c_str())) {
        return false;
    }
    std::string copy = path;
    RemoveTrailingSlash(copy);
    std::size_t const slash = copy.rfind('/');
    if (slash == std::string::npos || slash < 1) {
        return false;
    }
    name = copy.substr(slash + 1);
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::IsFullyQualified(char const* text, TUnixPathCaller caller) {
    if (text == nullptr) {
        return ReportNullText(caller, Traits::kNotNullText);
    }
    return text[0] == '/';
}

template <class Traits>
bool TUnixPath<Traits>::IsPartiallyQualified(char const* text, TUnixPathCaller caller) {
    if (text == nullptr) {
        return ReportNullText(caller, Traits::kNotNullText);
    }
    return text[0] != '\0' && text[0] != '/' &&
           std::string_view(text).find('/') != std::string_view::npos;
}

template <class Traits>
bool TUnixPath<Traits>::IsQualified(char const* text, TUnixPathCaller caller) {
    if (text == nullptr) {
        return ReportNullText(caller, Traits::kNotNullText);
    }
    return IsFullyQualified(text) || IsPartiallyQualified(text);
}

template <class Traits>
bool TUnixPath<Traits>::IsJustName(char const* text) {
    return text != nullptr && text[0] != '\0' && !IsQualified(text);
}

template <class Traits>
bool TUnixPath<Traits>::GetPathBasePartAndNamePart(std::string const& path, std::size_t from,
                                                   std::string& base, std::string& name) {
    base.clear();
    name.clear();
    std::size_t const start = path.find_first_not_of('/', from);
    if (start == std::string::npos) {
        return false;
    }
    std::size_t end = path.find('/', start);
    if (end == std::string::npos) {
        end = path.size();
    }
    base = path.substr(0, start);
    name = path.substr(start, end - start);
    return true;
}

template <class Traits>
bool TUnixPath<Traits>::GetFirstPair(std::string const& path, std::string& base,
                                     std::string& name) {
    return GetPathBasePartAndNamePart(path, 0, base, name);
}

template <class Traits>
bool TUnixPath<Traits>::GetNextPair(std::string const& path, std::string& base, std::string& name) {
    std::size_t const from = base.size() + name.size();
    if (name.empty() || from > path.size()) {
        base.clear();
        name.clear();
        return false;
    }
    return GetPathBasePartAndNamePart(path, from, base, name);
}

template class TUnixPath<LUnixPathTraits>;
template class TUnixPath<CoreUnixPathTraits>;
