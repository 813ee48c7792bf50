// The virtual camera across processes: frames reach a reader process whole and in order,
// the two buffers alternate, the frame size follows the picture, a reader that dies holding
// a lock does not wedge the writer, another user is refused, the component is installed by
// link and loaded user-first, and without it every entry point answers 0. Also the loopback
// side: device discovery and the YUYV conversion.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <sys/wait.h>

#include <QCheckBox>
#include <QImage>

#include <gtest/gtest.h>

#include "CoCamX/NSUICamBroadcastControlFast.h"
#include "CoreX/SharedCameraBundle.h"
#include "component/LoopbackDevice.h"
#include "component/SharedCameraMemory.h"
#include "platform/folders/PlatformFolders.h"
#include "platform/imaging/CIContext.h"
#include "tests/support/TestEnvironment.h"

namespace fs = std::filesystem;

namespace {

std::string LinkIn(int location) {
    return CFBaseDLL::URLOfNameInLocation(kCameraComponentFileName, location);
}

std::string UserLink() { return LinkIn(CFBaseDLL::kLocationUserComponents); }

std::string Resource() {
    return PlatformFolders::FolderPath(PlatformFolders::kApplicationResources) + "/" +
           kCameraComponentFileName;
}

// A broadcast control with both switches on, broadcasting.
class Broadcaster {
public:
    Broadcaster() {
        mAllow.setChecked(true);
        mEnable.setChecked(true);
        mControl.setAllowCameraButton(&mAllow);
        mControl.setRebroadcastButton(&mEnable);
        mControl.startBroadcasting();
    }
    ~Broadcaster() { mControl.setBroadcastEnabled(false); }

    // One tick's hand-over with a frame whose every pixel is `argb`, or with `pixels`.
    bool Publish(std::uint32_t argb) {
        return Publish(std::vector<std::uint32_t>(640 * 480, argb), QSize(640, 480));
    }
    bool Publish(std::vector<std::uint32_t> const& pixels, QSize size) {
        CIImage const image = CIImage::imageWithARGBData(pixels.data(), size.width(),
                                                         size.height(), size.width() * 4);
        CIContext* context = mControl.currentCIContext();
        if (context == nullptr) {
            return false;
        }
        mControl.beginSwitchContexts();
        context->drawImage(image, QPointF(0, 0), image.extent());
        return mControl.endSwitchContexts() || mControl.sharedCameraBufferNumber() == 0;
    }

    QCheckBox mAllow, mEnable;
    NSUICamBroadcastControlFast mControl;
};

TEST(Broadcast, FramesReachAReaderProcessWholeAndInOrderWhileBuffersAlternate) {
    Broadcaster broadcaster;
    ASSERT_TRUE(broadcaster.mControl.isBroadcasting());
    EXPECT_EQ(fs::read_symlink(UserLink()), Resource()) << "broadcasting installs the link";

    // Buffer 0, 1, 0: the buffer written is never the one being read.
    SharedCameraMemory reader;
    ASSERT_EQ(reader.AttachForReading(geteuid()), SharedCameraMemory::kOk);
    for (std::uint32_t i = 1; i <= 3; ++i) {
        int const written = broadcaster.mControl.sharedCameraBufferNumber();
        EXPECT_EQ(written, static_cast<int>((i - 1) % 2));
        ASSERT_TRUE(broadcaster.Publish(0xFF000000u | i));
        EXPECT_EQ(reader.Header()->readBuffer.load(), static_cast<std::uint32_t>(written));
    }

    constexpr int kFrames = 20;
    FILE* raw = popen(DUOSCOPE_CAM_TOOL " --raw --frames 20", "r");
    ASSERT_NE(raw, nullptr);
    std::vector<std::uint32_t> firstPixels;
    int torn = 0;
    std::thread readerThread([&] {
        std::vector<std::uint32_t> frame(640 * 480);
        while (fread(frame.data(), 4, frame.size(), raw) == frame.size()) {
            firstPixels.push_back(frame[0]);
            torn += std::count(frame.begin(), frame.end(), frame[0]) != std::ssize(frame);
        }
    });
    // 30 frames a second, each a different uniform colour, until the reader has its frames.
    auto next = std::chrono::steady_clock::now();
    for (std::uint32_t i = 10; i < 10 + 4 * kFrames && firstPixels.size() < kFrames; ++i) {
        broadcaster.Publish(0xFF000000u | (i << 8) | (255 - i));
        next += std::chrono::microseconds(33333);
        std::this_thread::sleep_until(next);
    }
    readerThread.join();
    EXPECT_EQ(pclose(raw), 0);
    EXPECT_EQ(torn, 0);
    ASSERT_EQ(firstPixels.size(), static_cast<std::size_t>(kFrames));
    for (std::size_t k = 1; k < firstPixels.size(); ++k) {
        EXPECT_GT(firstPixels[k] & 0xFF00, firstPixels[k - 1] & 0xFF00) << "frame " << k;
    }
}

TEST(Broadcast, TheFrameSizeFollowsThePictureAndReadersLearnIt) {
    Broadcaster broadcaster;
    std::string const path = TestEnvironment::Home() + "/frame.png";
    std::string const command = std::string(DUOSCOPE_CAM_TOOL) + " --snapshot " + path;
    // The first half (left, or top when taller than wide) one colour, the rest another.
    for (QSize const size : {QSize(1280, 480), QSize(640, 960), QSize(640, 480)}) {
        ASSERT_TRUE(broadcaster.mControl.setFrameSize(size))
            << size.width() << "x" << size.height();
        bool const tall = size.height() > size.width();
        std::vector<std::uint32_t> pixels(std::size_t(size.width()) * size.height());
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                bool const first = tall ? y < size.height() / 2 : x < size.width() / 2;
                pixels[std::size_t(y) * size.width() + x] = first ? 0xFF102030u : 0xFFA0B0C0u;
            }
        }
        broadcaster.Publish(pixels, size);
        ASSERT_EQ(WEXITSTATUS(system(command.c_str())), 0);
        QImage const read(QString::fromStdString(path));
        ASSERT_EQ(read.size(), size);
        EXPECT_EQ(read.pixel(0, 0), 0xFF102030u);
        EXPECT_EQ(read.pixel(size.width() - 1, size.height() - 1), 0xFFA0B0C0u);
    }
    // Larger than the buffers hold: refused, and the broadcast goes on at its size.
    EXPECT_FALSE(broadcaster.mControl.setFrameSize(QSize(1280, 960)));
    EXPECT_EQ(broadcaster.mControl.extent(), QRectF(0, 0, 640, 480));
    EXPECT_TRUE(broadcaster.Publish(0xFF445566));
}

TEST(Broadcast, AReaderKilledHoldingALockDoesNotWedgeTheWriter) {
    Broadcaster broadcaster;
    ASSERT_TRUE(broadcaster.Publish(0xFF112233));
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t const child = fork();
    if (child == 0) {
        SharedCameraMemory memory;
        bool const locked = memory.AttachForReading(geteuid()) == SharedCameraMemory::kOk &&
                            memory.Lock(0, 1000) && memory.Lock(1, 1000);
        char const byte = locked ? 1 : 0;
        (void)!write(ready[1], &byte, 1);
        pause();
        _exit(0);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 1) << "the reader could not take both locks";
    // While it lives, the writer's bounded wait gives up and drops the frame.
    int const number = broadcaster.mControl.sharedCameraBufferNumber();
    EXPECT_FALSE(broadcaster.Publish(0xFF445566));
    EXPECT_EQ(broadcaster.mControl.sharedCameraBufferNumber(), number);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(broadcaster.Publish(0xFF778899)) << "tick " << i << " after the reader died";
    }
    close(ready[0]);
    close(ready[1]);
}

TEST(Broadcast, AnotherUserCannotOpenTheMemory) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "running a process under another uid needs root";
    }
    Broadcaster broadcaster;
    ASSERT_TRUE(broadcaster.Publish(0xFF000000));
    uid_t const owner = geteuid();
    pid_t const child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) {
            _exit(10);
        }
        SharedCameraMemory memory;
        _exit(memory.AttachForReading(owner) == SharedCameraMemory::kPermissionDenied ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(ComponentBundle, InstallsByLinkAndLoadsUserThenSystemThenLocal) {
    std::string const root = TestEnvironment::Home() + "/root";
    CFBaseDLL::SetSystemRoot(root);
    SHARED_CAMERA_BUFFER buffer{};
    buffer.sizeofSHARED_CAMERA_BUFFER = sizeof(buffer);
    int const places[] = {CFBaseDLL::kLocationUserComponents, CFBaseDLL::kLocationSystemComponents,
                          CFBaseDLL::kLocationLocalComponents};
    // Nowhere, then local, then system and local, then everywhere: the first place wins.
    for (int present = 0; present <= 3; ++present) {
        SCOPED_TRACE(present);
        for (int i = 0; i < 3; ++i) {
            fs::create_directories(fs::path(LinkIn(places[i])).parent_path());
            fs::remove(LinkIn(places[i]));
            if (i >= 3 - present) {
                fs::create_symlink(Resource(), LinkIn(places[i]));
            }
        }
        EXPECT_EQ(SharedCameraBundle::GetWriteableFrameBuffer_N(0, &buffer) != 0, present != 0);
        EXPECT_EQ(SharedCameraBundle::sComponent.mLoader.LoadedPath(),
                  present == 0 ? "" : LinkIn(places[3 - present]));
        SharedCameraBundle::sComponent.mLoader.Unload();
    }

    // Present in the system folder: installing makes nothing in the user's.
    fs::remove(UserLink());
    EXPECT_TRUE(SharedCameraBundle::Install());
    EXPECT_FALSE(fs::exists(fs::symlink_status(UserLink())));
    fs::remove_all(root);
    CFBaseDLL::SetSystemRoot("");

    EXPECT_FALSE(SharedCameraBundle::UnInstall()) << "nothing installed";
    EXPECT_TRUE(SharedCameraBundle::Install());
    EXPECT_TRUE(SharedCameraBundle::Install()) << "a second install finds the first";
    EXPECT_EQ(fs::read_symlink(UserLink()), Resource());
    EXPECT_TRUE(SharedCameraBundle::UnInstall());
    EXPECT_FALSE(fs::exists(fs::symlink_status(UserLink())));
    EXPECT_TRUE(fs::exists(Resource())) << "uninstalling removes the link, never the resource";

    // Nowhere to be found: every entry point answers 0 and nothing broadcasts.
    SHARED_CAMERA_CONTROL control{sizeof(control), 1};
    int word = 0;
    EXPECT_EQ(SharedCameraBundle::GetWriteableFrameBuffer_N(0, &buffer), 0);
    EXPECT_EQ(SharedCameraBundle::SetCameraControl(&control), 0);
    EXPECT_EQ(SharedCameraBundle::SetCurrentReadBuffer(&word), 0);
    EXPECT_FALSE(SharedCameraBundle::LockFrameBuffer(&word));
    EXPECT_FALSE(SharedCameraBundle::UnLockFrameBuffer(&word));
    EXPECT_FALSE(SharedCameraBundle::IsLoaded());
}

TEST(Loopback, DevicesAreFoundBySysfsEntryAndTheLabelledOneIsPreferred) {
    std::string const sysfs = TestEnvironment::Home() + "/sysfs";
    auto const node = [&](char const* name, char const* label, char const* device) {
        fs::create_directories(sysfs + "/" + name);
        std::ofstream(sysfs + "/" + name + "/name") << label << "\n";
        if (device != nullptr) {
            fs::create_symlink(device, sysfs + "/" + name + "/device");
        } else {  // a driver that registers its nodes without a parent device
            std::ofstream(sysfs + "/" + name + "/max_openers") << "10\n";
        }
    };
    node("video0", "USB Camera", "../../../3-1:1.0");
    node("video12", "Duoscope", "../../../v4l2loopback.1");
    node("video3", "Dummy video device (0x0000)", "../../../v4l2loopback.0");
    node("video7", "Older loopback", nullptr);
    fs::create_directories(sysfs + "/v4l-subdev0");

    auto const found = LoopbackDevice::FindLoopbackDevices(sysfs, "/dev");
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].devicePath, "/dev/video3") << "in device-number order, not name order";
    EXPECT_EQ(found[1].name, "Older loopback");
    EXPECT_EQ(found[2].name, "Duoscope");
    EXPECT_EQ(LoopbackDevice::ChooseLoopbackDevice(found)->devicePath, "/dev/video12");
    EXPECT_EQ(LoopbackDevice::ChooseLoopbackDevice({found[0]})->devicePath, "/dev/video3");
    EXPECT_FALSE(LoopbackDevice::ChooseLoopbackDevice({}).has_value());
}

TEST(Loopback, ConvertsToLimitedRangeYUYVAndHasAStillPicture) {
    struct Case {
        std::uint32_t argb;
        std::uint8_t y, u, v;
    } const cases[] = {
        {0xFFFFFFFF, 235, 128, 128},
        {0xFF000000, 16, 128, 128},
        {0xFFFF0000, 82, 90, 240},  // BT.601 red
    };
    for (Case const& c : cases) {
        std::vector<std::uint32_t> argb(4 * 2, c.argb);
        std::uint8_t yuyv[4 * 2 * 2] = {};
        LoopbackDevice::ConvertARGBToYUYV(reinterpret_cast<std::uint8_t*>(argb.data()), 16, yuyv,
                                          4, 2);
        EXPECT_NEAR(yuyv[0], c.y, 1) << std::hex << c.argb;
        EXPECT_NEAR(yuyv[1], c.u, 1) << std::hex << c.argb;
        EXPECT_NEAR(yuyv[3], c.v, 1) << std::hex << c.argb;
    }
    // The still picture: dark grey with light writing across the middle.
    LoopbackDevice device;
    auto const& still = device.StillPictureYUYV();
    ASSERT_EQ(still.size(), 640u * 480 * 2);
    auto const luma = [&](int x, int y) { return still[(y * 640 + x) * 2]; };
    EXPECT_LT(luma(5, 5), 50);
    int bright = 0;
    for (int x = 0; x < 640; ++x) {
        bright += luma(x, 240) > 200;
    }
    EXPECT_GT(bright, 40);
}

}  // namespace
