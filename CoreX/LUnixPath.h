#pragma once
// The older of the two path classes: path text and its rules, no file-system access.

#include "CoreX/TUnixPath.h"

class LUnixPath : public TUnixPath<LUnixPathTraits> {
public:
    using TUnixPath::TUnixPath;
};
