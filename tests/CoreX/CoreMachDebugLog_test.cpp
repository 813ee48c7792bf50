// The verification lines and the file, standard output and system log outputs.

#include "CoreX/CoreMachDebugLog.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/folders/PlatformFolders.h"
#include "tests/support/TestEnvironment.h"
#include "tests/support/TestLogCapture.h"

// A class's check, so that its line names the class.
struct LogChecks {
    int Failing(int value) const {
        VERIFY(value == 1);
        return __LINE__ - 1;
    }
};

namespace {

std::string LogsFolder() { return PlatformFolders::FolderPath(PlatformFolders::kUserLogsFolder); }

TEST(LogFile, VerifyLinesNameTheClassFunctionFileAndLine) {
    TestLogCapture log;
    int evaluations = 0;
    VERIFY(++evaluations == 1);  // true: nothing logged
    VERIFY_ERR(0);
    EXPECT_EQ(log.Lines(), "");
    int const line = LogChecks().Failing(2);
    int err = 0;
    VERIFY_ERR(err = fnfErr);
    int const errLine = __LINE__ - 1;
    EXPECT_EQ(evaluations, 1) << "the expression is evaluated exactly once";
    std::string const expected =
        "VERIFY FAILED:  code : value == 1 in tests/CoreX/CoreMachDebugLog_test.cpp:" +
        std::to_string(line) + " (int LogChecks::Failing(int) const)\n" +
        "VERIFY_ERR FAILED: OSErr:-43  code : err = fnfErr in "
        "tests/CoreX/CoreMachDebugLog_test.cpp:" +
        std::to_string(errLine) + " (virtual void ";
    EXPECT_EQ(log.Lines().substr(0, expected.size()), expected);
    EXPECT_TRUE(log.Contains("_Test::TestBody())\n")) << log.Lines();
}

TEST(LogFile, FileModeNeverCreatesTheFolderAndRecoversOnceItExists) {
    // The capture sets the file output and gives back the one before when it ends; the
    // folder it made is removed again.
    TestLogCapture log;
    std::filesystem::remove_all(LogsFolder());
    CoreMachDebugLogResetFileLocation();
    CoreMachDebugLog("lost\n");  // the failed initialisation reports through the log itself
    EXPECT_FALSE(std::filesystem::exists(LogsFolder())) << "the log must not create its folder";
    ASSERT_TRUE(PlatformFolders::MakeFolders(LogsFolder()));
    CoreMachDebugLog("kept %d\n", 7);
    EXPECT_EQ(TestEnvironment::ReadFile(LogsFolder() + "/Duoscope.log"), "kept 7\n");
    EXPECT_EQ(std::string(CoreMachDebugLogFilePath()), LogsFolder() + "/Duoscope.log");
}

TEST(LogFile, StdoutModeAlsoWritesTheFileTheSystemLogModeDoesNot) {
    TestLogCapture log;  // gives back the output mode before it when it ends
    CoreMachDebugLogSetUseLogger(kCoreLogOutputStdout);
    ::testing::internal::CaptureStdout();
    CoreMachDebugLog("both");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "DuoscopeTest:both") << "no newline";
    CoreMachDebugLogSetUseLogger(kCoreLogOutputASL);
    ::testing::internal::CaptureStderr();
    CoreMachDebugLog("VERIFY FAILED: %s\n", "x");
    std::string const err = ::testing::internal::GetCapturedStderr();
    // The line carries the ident and arrives with two newlines: the format's and the log's.
    EXPECT_NE(err.find("DuoscopeTest"), std::string::npos) << err;
    EXPECT_NE(err.find("VERIFY FAILED: x\n\n"), std::string::npos) << err;
    EXPECT_EQ(log.Lines(), "both");
}

}  // namespace
