#include "CoreX/CoreMachDebugLog.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <syslog.h>

#include "platform/folders/PlatformFolders.h"

namespace {

std::atomic<kCoreLogOutput> sLogOutput{kCoreLogOutputFile};
std::string sUserLogsPath;
char sCoreDebugLogFileName[1024];

// True while CoreMachDebugLogClassInitialize runs: a failure it reports comes back through
// the file output, which must not start the initialisation again.
bool sClassInitializing = false;
bool fClassInitialized = false;

constexpr char kDefaultLogFileName[] = "CoreConsole.log";

void WriteToLogFile(char const* text) {
    if (!fClassInitialized && !sClassInitializing) {
        fClassInitialized = CoreMachDebugLogClassInitialize();
    }
    if (sCoreDebugLogFileName[0] == '\0') {
        return;
    }
    FILE* file = std::fopen(sCoreDebugLogFileName, "at");
    if (file == nullptr) {
        return;  // no log folder or no permission: the message is dropped
    }
    std::fseek(file, 0, SEEK_END);
    // The text is written as it stands; it was formatted once already.
    std::fputs(text, file);
    std::fclose(file);
}

}  // namespace

void CoreMachDebugLogSetUseLogger(kCoreLogOutput output) { sLogOutput = output; }

kCoreLogOutput CoreMachDebugLogGetUseLogger() { return sLogOutput; }

bool CoreMachDebugLogClassInitialize() {
    if (!sUserLogsPath.empty() && PlatformFolders::FolderExists(sUserLogsPath)) {
        return true;
    }
    sClassInitializing = true;
    sUserLogsPath.clear();
    sCoreDebugLogFileName[0] = '\0';

    int err = noErr;
    std::string folder;
    VERIFY_ERR(err = PlatformFolders::FindFolder(PlatformFolders::kUserLogsFolder,
                                                 PlatformFolders::kDontCreateFolder, folder));
    bool fOk = err == noErr;
    if (fOk) {
        VERIFY(fOk = folder.size() < sizeof(sCoreDebugLogFileName) - 64);
    }
    if (fOk) {
        sUserLogsPath = folder;
        char const* name = g_CoreMachDebug_LogFileName;
        if (name == nullptr || name[0] == '\0') {
            name = kDefaultLogFileName;
        }
        std::snprintf(sCoreDebugLogFileName, sizeof(sCoreDebugLogFileName), "%s/%s",
                      sUserLogsPath.c_str(), name);
    }
    sClassInitializing = false;
    return fOk;
}

char const* CoreMachDebugLogFilePath() { return sCoreDebugLogFileName; }

void CoreMachDebugLogResetFileLocation() {
    sUserLogsPath.clear();
    sCoreDebugLogFileName[0] = '\0';
    fClassInitialized = false;
}

void CoreMachDebugLogString(char const* text) {
    if (text == nullptr) {
        return;
    }
    // The capture worker thread logs too: one message at a time, and the file's location is
    // settled once. Recursive: settling it can log a failure.
    static std::recursive_mutex sLogMutex;
    std::lock_guard lock(sLogMutex);
    switch (sLogOutput) {
        case kCoreLogOutputASL:
            // The system log with a copy on standard error; one connection per message.
            openlog(g_CoreMachDebug_LogPrefix, LOG_PERROR, LOG_USER);
            syslog(LOG_DEBUG, "%s\n", text);
            closelog();
            return;
        case kCoreLogOutputSyslog:
            syslog(LOG_DEBUG, "%s:%s\n", g_CoreMachDebug_LogPrefix, text);
            return;
        case kCoreLogOutputStdout:
            std::printf("%s:%s", g_CoreMachDebug_LogPrefix, text);
            std::fflush(stdout);
            WriteToLogFile(text);
            return;
        case kCoreLogOutputFile:
        default:
            WriteToLogFile(text);
            return;
    }
}

void CoreMachDebugLog(char const* format, ...) {
    char buffer[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof(buffer), format, args);
    va_end(args);
    CoreMachDebugLogString(buffer);
}

void _CoreMachDebugVerifyBody(char const* function, char const* file, int line, char const* text) {
    CoreMachDebugLog("VERIFY FAILED: %s in %s:%d (%s)\n", text, file, line, function);
}

void _CoreMachDebugVerifyOSerrBody(int err, char const* function, char const* file, int line,
                                   char const* text) {
    CoreMachDebugLog("VERIFY_ERR FAILED: OSErr:%d %s in %s:%d (%s)\n", err, text, file, line,
                     function);
}
