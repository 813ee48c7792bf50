#include "CoreX/CoreException.h"

#include <cstdarg>
#include <cstdio>

namespace {
char sCoreExceptionText[2048];
}

CoreException::CoreException(char const* format, ...) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(sCoreExceptionText, sizeof(sCoreExceptionText), format, args);
    va_end(args);
    message = sCoreExceptionText;
}
