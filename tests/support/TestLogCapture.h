#pragma once
// Collects the log lines written to the test program's log file while it lives, so a test
// can check that a failure was reported.

#include <filesystem>
#include <string>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/folders/PlatformFolders.h"
#include "tests/support/TestEnvironment.h"

class TestLogCapture {
public:
    TestLogCapture() : mSaved(CoreMachDebugLogGetUseLogger()) {
        CoreMachDebugLogSetUseLogger(kCoreLogOutputFile);
        std::filesystem::create_directories(
            PlatformFolders::FolderPath(PlatformFolders::kUserLogsFolder));
        CoreMachDebugLogResetFileLocation();
        mStart = Text().size();
    }
    ~TestLogCapture() { CoreMachDebugLogSetUseLogger(mSaved); }

    std::string Lines() const { return Text().substr(mStart); }
    bool Contains(std::string const& text) const { return Lines().find(text) != std::string::npos; }
    std::size_t Count(std::string const& text) const {
        std::string const lines = Lines();
        std::size_t count = 0;
        for (auto at = lines.find(text); at != std::string::npos; at = lines.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

private:
    static std::string Text() {
        return TestEnvironment::ReadFile(
            PlatformFolders::FolderPath(PlatformFolders::kUserLogsFolder) + "/Duoscope.log");
    }
    kCoreLogOutput mSaved;
    std::size_t mStart = 0;
};
