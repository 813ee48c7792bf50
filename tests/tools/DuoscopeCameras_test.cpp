// The cameras tool run as people run it: its list, a PNG of each test-pattern eye, and clear
// failures for a camera that does not exist.

#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include <sys/wait.h>

#include <QImage>

#include <gtest/gtest.h>

#include "tests/support/TestEnvironment.h"

namespace {

struct ToolRun {
    int status = -1;
    std::string output;  // standard output and standard error
};

ToolRun RunTool(std::string const& arguments) {
    ToolRun run;
    std::string const command = std::string(DUOSCOPE_CAMERAS_TOOL) + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return run;
    }
    char buffer[512];
    while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) {
        run.output += buffer;
    }
    int const status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

TEST(DuoscopeCameras, ListsTheTestPatternWithBothEyesAndMeasuresThem) {
    ToolRun const run = RunTool("");
    EXPECT_EQ(run.status, 0);
    std::regex const leftThenRight(R"("Test Pattern Left"[\s\S]*"Test Pattern Right")");
    EXPECT_TRUE(std::regex_search(run.output, leftThenRight)) << run.output;
    EXPECT_NE(run.output.find("MJPG"), std::string::npos);

    ToolRun const measured = RunTool("--measure 'Test Pattern Right' 0.3");
    EXPECT_EQ(measured.status, 0) << measured.output;
    EXPECT_NE(measured.output.find("frames a second"), std::string::npos);
    ToolRun const stereo = RunTool("--stereo 'Test Pattern Left' 'Test Pattern Right' 0.5");
    ASSERT_EQ(stereo.status, 0) << stereo.output;
    EXPECT_NE(stereo.output.find("\"Test Pattern Right\": MJPG 640x480"), std::string::npos)
        << stereo.output;
    EXPECT_NE(stereo.output.find("pairing error: "), std::string::npos);
}

TEST(DuoscopeCameras, SnapshotsOfBothEyes) {
    std::vector<QImage> images;
    for (std::string const eye : {"Left", "Right"}) {
        std::string const path = TestEnvironment::Home() + "/" + eye + ".png";
        ToolRun const run = RunTool("--snapshot 'Test Pattern " + eye + "' " + path);
        ASSERT_EQ(run.status, 0) << run.output;
        images.emplace_back(QString::fromStdString(path));
        EXPECT_EQ(images.back().size(), QSize(640, 480));
    }
    EXPECT_NE(images[0], images[1]);
}

TEST(DuoscopeCameras, AnUnknownCameraFailsAndListsTheCamerasThereAre) {
    ToolRun const unknown = RunTool("--snapshot 'Test Pattern Middle' /tmp/never.png");
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.output.find("no camera is called \"Test Pattern Middle\""),
              std::string::npos);
    EXPECT_NE(unknown.output.find("\"Test Pattern Right\""), std::string::npos);
}

}  // namespace
