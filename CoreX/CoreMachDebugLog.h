#pragma once
// The process-wide debug log and the two verification macros every module reports through.
// A failed check is one log line; execution always goes on with the next statement.

#include <cstdarg>

enum kCoreLogOutput : int {
    kCoreLogOutputFile = 0,    // appended to the log file
    kCoreLogOutputASL = 1,     // system log, with a copy on standard error
    kCoreLogOutputSyslog = 2,  // system log only
    kCoreLogOutputStdout = 4,  // standard output, and appended to the log file
};

// Defined by each program (the application, every test and tool), read by the log.
extern char const* g_CoreMachDebug_LogPrefix;    // ident of system-log lines
extern char const* g_CoreMachDebug_LogFileName;  // file in the user's log folder; "" = default

void CoreMachDebugLogSetUseLogger(kCoreLogOutput output);
kCoreLogOutput CoreMachDebugLogGetUseLogger();

// Formats into a 1,024-byte buffer (longer text is cut at 1,023 characters) and writes it.
void CoreMachDebugLog(char const* format, ...) __attribute__((format(printf, 1, 2)));
void CoreMachDebugLogString(char const* text);

// Finds the user's log folder (never creating it) and builds the log file's path.
bool CoreMachDebugLogClassInitialize();
// The full path of the log file, empty until the first file-bound message found the folder.
char const* CoreMachDebugLogFilePath();
// Forgets the log folder and file path, so that the next file-bound message looks them up
// again (used when the environment that names the folder changes, as in tests).
void CoreMachDebugLogResetFileLocation();

void _CoreMachDebugVerifyBody(char const* function, char const* file, int line, char const* text);
void _CoreMachDebugVerifyOSerrBody(int err, char const* function, char const* file, int line,
                                   char const* text);

// The function named in a verification line is the compiler's full name of the enclosing
// function ("bool CoreGraphics::BitmapContext::Construct(int, int, int, uint32_t)"), so the
// line says which class's function failed.
#define CORE_VERIFY_FUNCTION __PRETTY_FUNCTION__

#define VERIFY(expr) VERIFY_TEXT(expr, #expr)

// VERIFY for a check whose logged text is not its own source: the text names the step that
// failed where the expression is only a test of its result.
#define VERIFY_TEXT(expr, text)                                                                  \
    do {                                                                                         \
        if (!(expr)) {                                                                           \
            _CoreMachDebugVerifyBody(CORE_VERIFY_FUNCTION, __FILE__, __LINE__, " code : " text); \
        }                                                                                        \
    } while (0)

#define VERIFY_ERR(expr)                                                                          \
    do {                                                                                          \
        int const _verify_err_ = static_cast<int>(expr);                                          \
        if (_verify_err_ != 0) {                                                                  \
            _CoreMachDebugVerifyOSerrBody(_verify_err_, CORE_VERIFY_FUNCTION, __FILE__, __LINE__, \
                                          " code : " #expr);                                      \
        }                                                                                         \
    } while (0)

// The status codes the system uses.
enum : int {
    noErr = 0,
    paramErr = -50,
    fnfErr = -43,
};
