// The real program: starts offscreen, runs its clock, and ends cleanly on SIGTERM with no
// failed verification on the way.

#include <csignal>

#include <QProcess>
#include <QProcessEnvironment>

#include <gtest/gtest.h>

#include "tests/support/TestEnvironment.h"

namespace {

TEST(LaunchTest, StartsAndExitsCleanlyOnSigterm) {
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    program.setProcessEnvironment(environment);
    program.start(DUOSCOPE_PROGRAM, {});
    ASSERT_TRUE(program.waitForStarted(5000));
    EXPECT_FALSE(program.waitForFinished(1500)) << "the program must keep running";
    ::kill(static_cast<pid_t>(program.processId()), SIGTERM);
    ASSERT_TRUE(program.waitForFinished(10000));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0);
    QByteArray const errors = program.readAllStandardError();
    EXPECT_FALSE(errors.contains("VERIFY")) << errors.toStdString();
}

}  // namespace
