// The verification lines and the four log outputs.

#include "CoreX/CoreMachDebugLog.h"

#include <cstring>
#include <filesystem>
#include <syslog.h>
#include <unistd.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <gtest/gtest.h>

#include "CoreX/CoreException.h"
#include "platform/folders/PlatformFolders.h"
#include "tests/support/TestEnvironment.h"

// A class's check, so that its line names the class.
struct LogChecks {
    int Failing(int value) const {
        VERIFY(value == 1);
        return __LINE__ - 1;
    }
};

namespace {

class LogOutput {
public:
    explicit LogOutput(kCoreLogOutput output) : mSaved(CoreMachDebugLogGetUseLogger()) {
        CoreMachDebugLogSetUseLogger(output);
    }
    ~LogOutput() { CoreMachDebugLogSetUseLogger(mSaved); }

private:
    kCoreLogOutput mSaved;
};

std::string LogsFolder() { return PlatformFolders::FolderPath(PlatformFolders::kUserLogsFolder); }

class LogFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove_all(LogsFolder());
        CoreMachDebugLogResetFileLocation();
    }
    void TearDown() override {
        std::filesystem::remove_all(LogsFolder());
        CoreMachDebugLogResetFileLocation();
    }
    static std::string LogText() {
        return TestEnvironment::ReadFile(LogsFolder() + "/Duoscope.log");
    }
};

TEST_F(LogFileTest, VerifyLinesNameTheClassFunctionFileAndLine) {
    LogOutput output(kCoreLogOutputFile);
    ASSERT_TRUE(PlatformFolders::MakeFolders(LogsFolder()));
    int evaluations = 0;
    VERIFY(++evaluations == 1);  // true: nothing logged
    VERIFY_ERR(0);
    EXPECT_EQ(LogText(), "");
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
    EXPECT_EQ(LogText().substr(0, expected.size()), expected);
    EXPECT_NE(LogText().find("_Test::TestBody())\n"), std::string::npos) << LogText();
}

TEST_F(LogFileTest, FileModeNeverCreatesTheFolderAndRecoversOnceItExists) {
    LogOutput output(kCoreLogOutputFile);
    CoreMachDebugLog("lost\n");  // the failed initialisation reports through the log itself
    EXPECT_FALSE(std::filesystem::exists(LogsFolder())) << "the log must not create its folder";
    ASSERT_TRUE(PlatformFolders::MakeFolders(LogsFolder()));
    CoreMachDebugLog("kept %d\n", 7);
    EXPECT_EQ(LogText(), "kept 7\n");
    EXPECT_EQ(std::string(CoreMachDebugLogFilePath()), LogsFolder() + "/Duoscope.log");
}

TEST_F(LogFileTest, StdoutModeAlsoWritesTheFileTheSystemLogModeDoesNot) {
    ASSERT_TRUE(PlatformFolders::MakeFolders(LogsFolder()));
    {
        LogOutput output(kCoreLogOutputStdout);
        ::testing::internal::CaptureStdout();
        CoreMachDebugLog("both");
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "DuoscopeTest:both") << "no newline";
    }
    LogOutput output(kCoreLogOutputASL);
    ::testing::internal::CaptureStderr();
    CoreMachDebugLog("VERIFY FAILED: %s\n", "x");
    std::string const err = ::testing::internal::GetCapturedStderr();
    // The line carries the ident and arrives with two newlines: the format's and the log's.
    EXPECT_NE(err.find("DuoscopeTest"), std::string::npos) << err;
    EXPECT_NE(err.find("VERIFY FAILED: x\n\n"), std::string::npos) << err;
    EXPECT_EQ(LogText(), "both");
}

TEST(LogSyslog, SyslogModeSendsPrefixedDebugLineToTheSystemLogSocket) {
    // A real datagram socket where the C library sends syslog messages. Only possible when
    // no system logger owns /dev/log and we may create it.
    if (std::filesystem::exists("/dev/log") || access("/dev", W_OK) != 0) {
        GTEST_SKIP() << "/dev/log belongs to a running system logger or /dev is read-only";
    }
    int const sock = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_GE(sock, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    {
        LogOutput output(kCoreLogOutputSyslog);
        CoreMachDebugLog("to syslog\n");
    }
    // Other test programs running at the same time may log too: take our own line.
    timeval timeout{2, 0};
    setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    std::string message;
    for (int attempt = 0; attempt < 20 && message.find("to syslog") == std::string::npos;
         ++attempt) {
        char received[512] = {};
        ssize_t const length = recv(sock, received, sizeof(received) - 1, 0);
        if (length <= 0) {
            break;
        }
        message.assign(received, static_cast<std::size_t>(length));
    }
    close(sock);
    unlink("/dev/log");
    closelog();
    ASSERT_NE(message.find("to syslog"), std::string::npos) << message;
    EXPECT_EQ(message.rfind("<15>", 0), 0u) << "user facility, debug level: " << message;
    EXPECT_NE(message.find("DuoscopeTest:to syslog\n"), std::string::npos) << message;
}

struct Shape {
    virtual ~Shape() = default;
};
struct Circle : Shape {};
struct Square : Shape {};

TEST(TypeExceptionTest, ThrowsOnNullAndOnMismatchOnly) {
    Circle circle;
    Shape const* shape = &circle;
    EXPECT_EQ(CFTypeRefClass::ThrowIfNotTypeMatch<Circle>(shape), &circle);
    EXPECT_THROW(CFTypeRefClass::ThrowIfNotTypeMatch<Square>(shape), CFTypeRefClass::TypeException);
    EXPECT_THROW(CFTypeRefClass::ThrowIfNotTypeMatch<Circle>(static_cast<Shape const*>(nullptr)),
                 CFTypeRefClass::TypeException);
}

}  // namespace
