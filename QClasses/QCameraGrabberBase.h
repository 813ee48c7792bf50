#pragma once
// One live camera: a sequence grabber with one video channel bound to one camera, recording
// without a movie, every frame handed to DefaultDataProc. It knows the list of cameras,
// switches between them, and re-opens the default camera by itself about once a second
// while it has none (a camera was unplugged); on the test pattern, it takes a real camera
// that is plugged in later. Those opens run on the capture worker and are collected on a
// later tick, so no tick waits on a camera. Main thread only: the document's clock calls
// Idle every tick.

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "CoreG/QGWorld.h"
#include "QClasses/QCameraStatus.h"
#include "QClasses/QSGDeviceList.h"
#include "QClasses/QSequenceGrabber.h"
#include "platform/capture/LogThrottle.h"
#include "platform/capture/SGTypes.h"

struct CaptureOpenResult;

class QCameraGrabberBase : public QSequenceGrabber {
public:
    using Camera = QSGDeviceList::InputIterator;

    // Passed to DrawCameraStatusInFrameBuffer.
    enum CameraStatus : int {
        kCameraStatusNewChannel = 1,  // a video channel is being set up
        kCameraStatusPrepared = 2,    // it is prepared
    };

    QCameraGrabberBase();
    ~QCameraGrabberBase() override;

    int OnThisDataProc(SGChannel* channel, std::uint8_t const* data, long length, long* offset,
                       long chRefCon, std::int64_t time, short writeType) override;

    virtual int StartRecord();
    virtual int StopRecord();  // stops and disposes of the video channel
    virtual int Close();       // closes the component and forgets the channel
    // Closes the current camera and opens `camera`. paramErr for the current camera (nothing
    // changes) or one that is not in the list. When `camera` cannot be opened (another eye
    // or program holds it) the current camera is opened again and the reason returned.
    virtual int SwitchToCamera(Camera const& camera);
    // The next or previous camera in walk order; false when there is none (no wrap-around).
    virtual bool UseNextCamera();
    virtual bool UsePrevCamera();
    // The camera whose input name is `name`; failing that, the one whose name differs only
    // by a port in brackets.
    virtual bool GetCameraWithDeviceInputName(Camera& camera, char const* name);
    virtual bool GetFirstCamera(Camera& camera);
    virtual bool GetLastCamera(Camera& camera);
    virtual bool GetCurrentCamera(Camera& camera);
    virtual bool GetNextCamera(Camera& camera);
    virtual bool GetPrevCamera(Camera& camera);
    virtual bool IsFrameBufferConstructed() const { return false; }
    virtual QGWorld* GetFrameBufferGWorldPtr() { return nullptr; }
    virtual bool GetFrameBufferImageDescription(ImageDescription& desc) const { return false; }
    virtual void DrawCameraStatusInFrameBuffer(int status) {}
    virtual int CreateFrameBuffer(SGRect const& rect, OSType pixelFormat);
    virtual int CreateFrameBufferSelf() { return noErr; }
    virtual int OpenInitializeCamera(SGRect const& rect, OSType pixelFormat, Camera const* camera);
    virtual int CloseVideoChannel();
    virtual int OpenInitializeSelf() { return noErr; }
    virtual int InitializeVideoChannel(SGChannel* channel, Camera const* camera);
    virtual int InitializeSequenceGrabToOffscreenWorld(SGRect const& rect, OSType pixelFormat);
    virtual int BeginDecompressionSequence(ImageDescription const& cameraDesc,
                                           SGRect const& cameraRect, SGRect const& frameBufferRect);
    virtual int DefaultDataProc(std::uint8_t const* data, long size);
    // Why DefaultDataProc last refused a frame, for the log.
    virtual char const* DroppedFrameReason() const { return "the frame could not be used"; }

    void SetFrameBufferPixelFormat(OSType pixelFormat) { mFrameBufferPixelFormat = pixelFormat; }
    void SetFrameBufferRect(SGRect const& rect) { mFrameBufferRect = rect; }
    bool SetCameraVDIGRequestRect(SGRect const& rect) {
        mVDIGRequestRect = rect;
        return true;
    }

    using QSequenceGrabber::OpenInitialize;  // the component alone, no channel
    // Builds the frame buffer, re-creates the component and opens `camera` (null: the
    // default camera, the first in walk order that opens now) prepared to record.
    int OpenInitialize(SGRect const& rect, OSType pixelFormat, Camera const* camera);
    // Opens a camera from whatever state the grabber is in, and records from it unless the
    // component had to be created; with a channel open, switches to `camera` if one is given.
    int OpenCameraInput(Camera const* camera);
    bool CloseCameraInput() { return StopRecord() == noErr; }

    void SetAutoOpenCameraPluggedIn(bool enable, float periodSeconds);
    // The camera the user chose that is not plugged in (a stored choice): while this grabber
    // shows the test pattern, it takes that camera as soon as it appears. Empty: none.
    void SetWantedCameraName(std::string name) { mWantedCameraName = std::move(name); }
    // Whether an open is under way on the capture worker.
    bool IsOpeningCamera() const { return mPendingOpen != nullptr; }
    // Grabs (frames are decoded inside, or held for pairing). Without a channel, and with
    // automatic re-open on, asks the capture worker for the default camera once every
    // period and takes it open on a later tick.
    int Idle();
    int Stop();

    std::int16_t GetCameraCount();
    bool GetActiveCameraDeviceList(QSGDeviceList& list);
    // Works without a channel too, through a temporary one.
    bool GetCameraInputList(QSGDeviceList& list);
    bool IsThisTheCurrentCamera(Camera const& camera);
    int GetVideoSampleDescription(ImageDescription& desc);
    int InitializeDecompressionToOffscreenWorld();
    // How the camera is doing, for the window's status line (no pairing error: that takes
    // both eyes).
    void GetStatus(QCameraStatus& status) const;
    // The capture time of the frame shown (microseconds of the steady clock, which is the
    // kernel's monotonic clock that stamps V4L2 buffers), -1 for none.
    std::int64_t LastFrameCaptureMicroseconds() const { return mLastFrameCaptureUs; }
    std::int64_t ShownFrameMicroseconds() const { return mLastFrameCaptureUs; }

    // With holding on, frames are kept as they arrive (the last kHeldFrameCount) rather than
    // decoded, and QCameraPairing has the one that pairs best with the other eye's decoded
    // by ShowHeldFrame. Off by default: every frame is decoded as it arrives.
    static constexpr std::size_t kHeldFrameCount = 3;
    void SetHoldFramesForPairing(bool hold);
    std::vector<std::int64_t> HeldFrameTimes() const;  // oldest first
    // Decodes held frame `index` and lets go of it and the older ones; -1 does nothing.
    int ShowHeldFrame(int index);
    virtual std::uint64_t FramesDropped() const { return 0; }
    void DumpRelevantInfoToLog();
    void DebugDumpDeviceInputNames();

    // The clock of the automatic re-open: microseconds of the steady clock. Tests replace
    // it; null restores the steady clock.
    using MicrosecondsClock = double (*)();
    static void SetMicrosecondsClock(MicrosecondsClock clock);
    static double Microseconds();

    // Read by the views; changed only by the grabber.
    SGRect mVDIGRequestRect;  // size asked of the camera
    SGRect mFrameBufferRect;  // size of the frame buffer frames are drawn into
    OSType mFrameBufferPixelFormat = 0;
    ImageDescription mCameraImageDesc;   // the camera's frames, from when recording starts
    SGChannel* mVideoChannel = nullptr;  // non-null while a camera is open
    // A recording camera that has sent no frame for this long is taken as lost and re-opened
    // (some firmware stops sending without any error).
    static constexpr double kStalledCameraSeconds = 2.0;
    bool mAutoOpenCameraPluggedIn = true;
    float mAutoOpenRetrySeconds = 1.0f;
    double mAutoOpenRetryElapsed;  // microseconds: time of the last re-open attempt

private:
    using CameraStep = bool (QCameraGrabberBase::*)(Camera&);
    int ShowFrame(std::uint8_t const* data, long size, std::int64_t timeUs);  // decodes
    void DropHeldFrames();
    bool UseCameraBeside(CameraStep fallback, CameraStep step);
    // Opens `camera` in a new component and records from it; on failure leaves no channel.
    int OpenAndRecord(Camera const& camera);
    SGChannel* VideoChannel() const { return mVideoChannel; }
    // The camera of that input name in the current list, found without a channel.
    bool GetCameraNamed(std::string const& name, Camera& camera);
    static bool FindCameraNamed(QSGDeviceList const& list, std::string const& name,
                                Camera& camera);
    // Asks the capture worker to open the first of `cameras` that opens (none: the default
    // camera). Collected by CollectOpenedCamera on a later tick.
    void RequestOpen(std::vector<Camera> const& cameras);
    // Takes the camera the worker opened, if it is done, closing the open one first when
    // the open was to replace it (the test pattern giving way to a real camera).
    int CollectOpenedCamera();
    // The camera named `first` alone when it is listed; otherwise every camera listed but
    // the test pattern and those another grabber waits for.
    std::vector<Camera> RealCameras(std::string const& first);
    // The rate of the other eye's open camera, so that both eyes run in step where the
    // cameras allow it; 30 when there is none.
    double OtherEyesFramesPerSecond() const;
    // Whether another grabber waits for the camera of that name (its stored choice).
    bool IsWantedByAnother(std::string const& name) const;
    // On the test pattern: asks for a real camera when the cameras listed changed.
    void LookForRealCamera();

    // The input name of the camera last opened, and of the one that vanished while open
    // (empty once a camera opens again).
    std::string mOpenCameraName;
    std::string mLostCameraName;
    // Microseconds: when the recording camera last delivered a frame (or started); negative
    // while nothing records.
    double mLastFrameMicroseconds = -1.0;
    std::deque<double> mRecentFrameMicroseconds;  // arrivals in the last second
    std::int64_t mLastFrameCaptureUs = -1;
    std::string mTrouble;  // the camera's trouble in words; empty when none
    std::string mWantedCameraName;
    struct HeldFrame {
        std::vector<std::uint8_t> bytes;
        std::int64_t timeUs = 0;
    };
    bool mHoldFrames = false;
    std::deque<HeldFrame> mHeldFrames;  // oldest first
    std::vector<std::vector<std::uint8_t>> mSpareFrameBuffers;
    std::shared_ptr<CaptureOpenResult> mPendingOpen;  // an open under way on the worker
    bool mPendingReplaces = false;  // it is to replace the open camera (the test pattern)
    CaptureOpenResult* mHandOver = nullptr;  // a camera the worker opened, while it is adopted
    std::uint64_t mSeenDevicesGeneration = ~std::uint64_t{0};  // as LookForRealCamera saw it
    LogThrottle mDroppedFrameLog;
    static int SetChannelUsage(SGChannel* channel, long usage);
};
