#include "QClasses/QCameraGrabberBase.h"

#include <algorithm>
#include <chrono>

#include "CoreX/CoreMachDebugLog.h"
#include "CoreX/CorePString.h"
#include "platform/capture/CaptureOpener.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/capture/V4L2Naming.h"

namespace {

double SteadyMicroseconds() {
    return std::chrono::duration<double, std::micro>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

QCameraGrabberBase::MicrosecondsClock sMicrosecondsClock = SteadyMicroseconds;

// Every grabber alive (main thread): a camera one of them wants back is left to it.
std::vector<QCameraGrabberBase const*>& AllGrabbers() {
    static std::vector<QCameraGrabberBase const*> sGrabbers;
    return sGrabbers;
}

}  // namespace

void QCameraGrabberBase::SetMicrosecondsClock(MicrosecondsClock clock) {
    sMicrosecondsClock = clock != nullptr ? clock : SteadyMicroseconds;
}

double QCameraGrabberBase::Microseconds() { return sMicrosecondsClock(); }

QCameraGrabberBase::QCameraGrabberBase() : mAutoOpenRetryElapsed(Microseconds()) {
    AllGrabbers().push_back(this);
    // From the first grabber on, the worker scans the devices: no tick opens a node.
    CaptureRegistry::Shared().Opener();
}

QCameraGrabberBase::~QCameraGrabberBase() { std::erase(AllGrabbers(), this); }

namespace {

// Whether a choice stored as `wanted` is the camera called `name` now: the same name, or a
// choice stored without a port that names the model (one of two twins, chosen before the
// other was seen).
bool ChoiceNames(std::string const& wanted, std::string const& name) {
    return !wanted.empty() &&
           (wanted == name || (V4L2Naming::WithoutPort(wanted) == wanted &&
                               V4L2Naming::WithoutPort(name) == wanted));
}

}  // namespace

double QCameraGrabberBase::OtherEyesFramesPerSecond() const {
    for (QCameraGrabberBase const* grabber : AllGrabbers()) {
        if (grabber != this && grabber->mVideoChannel != nullptr) {
            if (double const rate = grabber->mVideoChannel->FramesPerSecond(); rate > 0.0) {
                return rate;
            }
        }
    }
    return 30.0;
}

bool QCameraGrabberBase::IsWantedByAnother(std::string const& name) const {
    return std::any_of(AllGrabbers().begin(), AllGrabbers().end(), [&](auto const* grabber) {
        return grabber != this && ChoiceNames(grabber->mWantedCameraName, name);
    });
}

int QCameraGrabberBase::OnThisDataProc(SGChannel* channel, std::uint8_t const* in_data,
                                       long in_data_size, long* offset, long chRefCon,
                                       std::int64_t time, short writeType) {
    mLastFrameMicroseconds = Microseconds();  // a damaged frame still shows the camera lives
    mRecentFrameMicroseconds.push_back(mLastFrameMicroseconds);
    while (mRecentFrameMicroseconds.front() < mLastFrameMicroseconds - 1e6) {
        mRecentFrameMicroseconds.pop_front();
    }
    if (!mHoldFrames) {
        return ShowFrame(in_data, in_data_size, time);
    }
    // Held until the pairing picks it; the oldest gives way, its memory kept for the next.
    if (mHeldFrames.size() == kHeldFrameCount) {
        mSpareFrameBuffers.push_back(std::move(mHeldFrames.front().bytes));
        mHeldFrames.pop_front();
    }
    HeldFrame held;
    if (!mSpareFrameBuffers.empty()) {
        held.bytes = std::move(mSpareFrameBuffers.back());
        mSpareFrameBuffers.pop_back();
    }
    held.bytes.assign(in_data, in_data + std::max(in_data_size, 0L));
    held.timeUs = time;
    mHeldFrames.push_back(std::move(held));
    return noErr;
}

int QCameraGrabberBase::ShowFrame(std::uint8_t const* data, long size, std::int64_t timeUs) {
    mLastFrameCaptureUs = timeUs;
    int const err = DefaultDataProc(data, size);
    // A camera that sends damaged frames usually sends nothing else: the first drop is
    // logged, then a count at most every interval.
    if (std::uint64_t repeats = 0;
        err != noErr && mDroppedFrameLog.Note(Microseconds() / 1e6, repeats)) {
        VERIFY_ERR(err);
        CoreMachDebugLog("QCameraGrabberBase: '%s': frame dropped: %s%s\n",
                         mOpenCameraName.c_str(), DroppedFrameReason(),
                         LogThrottle::RepeatsText(repeats).c_str());
    }
    return err;
}

void QCameraGrabberBase::SetHoldFramesForPairing(bool hold) {
    mHoldFrames = hold;
    DropHeldFrames();
}

std::vector<std::int64_t> QCameraGrabberBase::HeldFrameTimes() const {
    std::vector<std::int64_t> times;
    for (HeldFrame const& held : mHeldFrames) {
        times.push_back(held.timeUs);
    }
    return times;
}

int QCameraGrabberBase::ShowHeldFrame(int index) {
    if (index < 0 || index >= static_cast<int>(mHeldFrames.size())) {
        return noErr;
    }
    HeldFrame& held = mHeldFrames[index];
    int const err = ShowFrame(held.bytes.data(), static_cast<long>(held.bytes.size()), held.timeUs);
    for (int i = 0; i <= index; ++i) {  // it and the older ones are done with
        mSpareFrameBuffers.push_back(std::move(mHeldFrames.front().bytes));
        mHeldFrames.pop_front();
    }
    return err;
}

void QCameraGrabberBase::DropHeldFrames() {
    while (!mHeldFrames.empty()) {
        mSpareFrameBuffers.push_back(std::move(mHeldFrames.front().bytes));
        mHeldFrames.pop_front();
    }
}

int QCameraGrabberBase::DefaultDataProc(std::uint8_t const* data, long size) { return noErr; }

int QCameraGrabberBase::CreateFrameBuffer(SGRect const& rect, OSType pixelFormat) {
    return CreateFrameBufferSelf();
}

int QCameraGrabberBase::BeginDecompressionSequence(ImageDescription const& cameraDesc,
                                                   SGRect const& cameraRect,
                                                   SGRect const& frameBufferRect) {
    return noErr;
}

void QCameraGrabberBase::SetAutoOpenCameraPluggedIn(bool enable, float periodSeconds) {
    mAutoOpenCameraPluggedIn = enable;
    mAutoOpenRetrySeconds = periodSeconds;
    mAutoOpenRetryElapsed = Microseconds();
}

// ---- Opening and closing ----

int QCameraGrabberBase::OpenInitialize(SGRect const& rect, OSType pixelFormat,
                                       Camera const* camera) {
    if (CreateFrameBuffer(rect, pixelFormat) != noErr) {
        return paramErr;
    }
    if (mVDIGRequestRect.right == mVDIGRequestRect.left &&
        mVDIGRequestRect.bottom == mVDIGRequestRect.top) {
        mVDIGRequestRect = rect;
    }
    // The component is re-created below, and its channel with it.
    CloseVideoChannel();
    int err;
    VERIFY_ERR(err = QSequenceGrabber::OpenInitialize());
    if (err != noErr) {
        return err;
    }
    VERIFY_ERR(err = mComponent->SetDataRef(seqGrabDontMakeMovie));
    if (err != noErr) {
        return err;
    }
    return OpenInitializeCamera(rect, pixelFormat, camera);
}

int QCameraGrabberBase::OpenInitializeCamera(SGRect const& rect, OSType pixelFormat,
                                             Camera const* camera) {
    if (!mComponent) {
        return paramErr;
    }
    if (mHandOver == nullptr) {
        mPendingOpen.reset();  // a camera chosen now wins over one the worker is opening
    }
    if (mVideoChannel != nullptr) {
        CloseVideoChannel();
        if (mVideoChannel != nullptr) {
            return paramErr;
        }
    }
    SGChannel* channel = nullptr;
    int err;
    VERIFY_ERR(err = mComponent->NewChannel(VideoMediaType, &channel));
    if (err != noErr) {
        return err;
    }
    DrawCameraStatusInFrameBuffer(kCameraStatusNewChannel);
    err = InitializeVideoChannel(channel, camera);
    if (err != noErr) {
        mComponent->DisposeChannel(channel);
        return err;
    }
    mVideoChannel = channel;
    if (mHandOver != nullptr && mHandOver->source) {
        // Opened and started on the worker: Prepare below keeps it.
        channel->AdoptSource(std::move(mHandOver->source), mHandOver->device, mHandOver->input);
    }
    VERIFY_ERR(err = InitializeSequenceGrabToOffscreenWorld(rect, pixelFormat));
    if (err == noErr) {
        // Opens the camera: a busy or missing one fails here.
        err = mComponent->Prepare(false, true);
    }
    if (err == noErr) {
        VERIFY_ERR(err = OpenInitializeSelf());
    }
    if (err == noErr) {
        // Remembered while it is open: once it vanishes it can no longer be asked its name.
        Camera opened;
        mOpenCameraName = GetCurrentCamera(opened) ? PStr63ToString(opened.inputName) : "";
        mLostCameraName.clear();  // a camera is open again, whichever it is
        mTrouble.clear();
        DrawCameraStatusInFrameBuffer(kCameraStatusPrepared);
    } else {
        CloseVideoChannel();  // a channel without a camera is no channel
    }
    return err;
}

int QCameraGrabberBase::InitializeVideoChannel(SGChannel* channel, Camera const* camera) {
    if (channel == nullptr || !mComponent) {
        return paramErr;
    }
    int err = noErr;
    if (camera != nullptr) {
        channel->SetSettingsStateChanging(1);
        VERIFY_ERR(err = channel->SetDevice(camera->deviceName));
        if (err == noErr) {
            VERIFY_ERR(err = channel->SetDeviceInput(camera->input));
        }
    }
    if (err == noErr) {
        VERIFY_ERR(err = mComponent->ChangedSource(channel));
    }
    if (camera != nullptr) {
        channel->SetSettingsStateChanging(2);
    }
    return err;
}

int QCameraGrabberBase::SetChannelUsage(SGChannel* channel, long usage) {
    return channel != nullptr ? channel->SetUsage(usage) : paramErr;
}

int QCameraGrabberBase::InitializeSequenceGrabToOffscreenWorld(SGRect const& rect,
                                                               OSType pixelFormat) {
    if (!mComponent || mVideoChannel == nullptr) {
        return paramErr;
    }
    int err;
    VERIFY_ERR(err = CreateFrameBuffer(rect, pixelFormat));
    if (err == noErr) {
        VERIFY_ERR(err = mVideoChannel->SetBounds(mVDIGRequestRect));
        mVideoChannel->SetFramesPerSecond(OtherEyesFramesPerSecond());
    }
    if (err == noErr) {
        SGPixMap pixMap;
        if (QGWorld const* world = GetFrameBufferGWorldPtr(); world != nullptr) {
            pixMap = {world->BaseAddr(), static_cast<std::int32_t>(world->RowBytes()),
                      static_cast<std::int32_t>(world->Width()),
                      static_cast<std::int32_t>(world->Height())};
        }
        VERIFY_ERR(err = mComponent->SetGWorld(pixMap));
    }
    if (err == noErr) {
        VERIFY_ERR(err = mVideoChannel->SetBounds(mVDIGRequestRect));
    }
    if (err == noErr) {
        // clang-format off
        VERIFY_ERR(err = SetChannelUsage( VideoChannel(), seqGrabRecord));
        // clang-format on
    }
    if (err == noErr) {
        VERIFY_ERR(err = SetThisDataProc());
    }
    return err;
}

int QCameraGrabberBase::CloseVideoChannel() {
    DropHeldFrames();  // frames of a camera that is closed are never shown
    int err = noErr;
    if (mVideoChannel != nullptr && mComponent) {
        VERIFY_ERR(err = mComponent->DisposeChannel(mVideoChannel));
    }
    mVideoChannel = nullptr;
    return err;
}

int QCameraGrabberBase::StartRecord() {
    int err;
    VERIFY_ERR(err = InitializeDecompressionToOffscreenWorld());
    if (err != noErr) {
        return err;
    }
    if (!mComponent) {
        return paramErr;
    }
    err = mComponent->StartRecord();
    if (err == noErr) {
        mLastFrameMicroseconds = Microseconds();
        // A camera short of USB bandwidth may have settled on another size or format as it
        // started: the decoder follows.
        ImageDescription started;
        if (GetVideoSampleDescription(started) == noErr &&
            (started.cType != mCameraImageDesc.cType || started.width != mCameraImageDesc.width ||
             started.height != mCameraImageDesc.height ||
             started.bytesPerLine != mCameraImageDesc.bytesPerLine)) {
            VERIFY_ERR(err = InitializeDecompressionToOffscreenWorld());
        }
    }
    return err;
}

int QCameraGrabberBase::InitializeDecompressionToOffscreenWorld() {
    int err = GetVideoSampleDescription(mCameraImageDesc);
    if (err != noErr) {
        return err;
    }
    SGRect cameraRect;
    cameraRect.right = mCameraImageDesc.width;
    cameraRect.bottom = mCameraImageDesc.height;
    return BeginDecompressionSequence(mCameraImageDesc, cameraRect, mFrameBufferRect);
}

int QCameraGrabberBase::GetVideoSampleDescription(ImageDescription& desc) {
    if (mVideoChannel == nullptr) {
        return paramErr;
    }
    return mVideoChannel->GetSampleDescription(desc);
}

int QCameraGrabberBase::StopRecord() {
    if (mVideoChannel == nullptr || !mComponent) {
        return paramErr;
    }
    mLastFrameMicroseconds = -1.0;
    int err;
    VERIFY_ERR(err = mComponent->Stop());
    if (err == noErr) {
        err = CloseVideoChannel();
    }
    return err;
}

int QCameraGrabberBase::Stop() {
    mLastFrameMicroseconds = -1.0;  // a stopped camera sends nothing, rightly
    return mComponent ? mComponent->Stop() : paramErr;
}

int QCameraGrabberBase::Close() {
    mPendingOpen.reset();
    mVideoChannel = nullptr;  // goes with the component
    mLostCameraName.clear();
    mLastFrameMicroseconds = -1.0;
    return QSequenceGrabber::Close();
}

int QCameraGrabberBase::OpenCameraInput(Camera const* camera) {
    if (!mComponent) {
        return OpenInitialize(mFrameBufferRect, mFrameBufferPixelFormat, camera);
    }
    if (mVideoChannel == nullptr) {
        int err = OpenInitializeCamera(mFrameBufferRect, mFrameBufferPixelFormat, camera);
        if (err == noErr) {
            err = StartRecord();
            if (err != noErr) {
                // A camera that cannot stream (no USB bandwidth) is given up, so that the
                // next period tries again.
                StopRecord();
                mTrouble = SGStatusText(err);
            }
        }
        return err;
    }
    if (camera != nullptr) {
        return SwitchToCamera(*camera);
    }
    return noErr;
}

int QCameraGrabberBase::Idle() {
    if (mVideoChannel != nullptr && mComponent) {
        int err = mComponent->Idle();
        double const silentSeconds = (Microseconds() - mLastFrameMicroseconds) / 1e6;
        if (err != sgDeviceLostErr && mLastFrameMicroseconds >= 0.0 &&
            silentSeconds > kStalledCameraSeconds) {
            CoreMachDebugLog("QCameraGrabberBase: '%s' sent no frame for %.1f s: re-opening it\n",
                             mOpenCameraName.c_str(), silentSeconds);
            err = sgDeviceLostErr;
            mTrouble = "it sent no frame for 2 s: re-opening it";
        } else if (err == sgDeviceLostErr) {
            mTrouble = "it vanished: waiting for it to come back";
        }
        if (err == sgDeviceLostErr) {
            // The camera was unplugged: give up the channel, and wait a period before the
            // first attempt to open a camera again.
            mLostCameraName = mOpenCameraName;
            CoreMachDebugLog("QCameraGrabberBase::Idle camera lost, channel closed\n");
            StopRecord();
            mPendingOpen.reset();
            mAutoOpenRetryElapsed = Microseconds();
        } else if (mAutoOpenCameraPluggedIn) {
            if (mPendingOpen) {
                CollectOpenedCamera();
            } else {
                LookForRealCamera();
            }
        }
        return err;
    }
    if (!IsFrameBufferConstructed() || !mAutoOpenCameraPluggedIn) {
        mPendingOpen.reset();
        return noErr;
    }
    if (mPendingOpen) {
        if (!mPendingOpen->done.load(std::memory_order_acquire)) {
            return noErr;
        }
        int const err = CollectOpenedCamera();
        if (mVideoChannel != nullptr) {
            return mComponent->Idle();
        }
        if (err != noErr) {
            return err;
        }
    }
    double const elapsedSeconds = (Microseconds() - mAutoOpenRetryElapsed) / 1000 / 1000;
    if (!(elapsedSeconds > mAutoOpenRetrySeconds)) {
        return noErr;
    }
    mAutoOpenRetryElapsed = Microseconds();
    if (!mLostCameraName.empty()) {
        // A grabber that lost a camera takes that camera back when it returns, and until
        // then only another real camera: with the built-in test pattern listed, the default
        // camera always opens, and the real camera would never be picked up again.
        std::vector<Camera> const cameras = RealCameras(mLostCameraName);
        if (!cameras.empty()) {
            RequestOpen(cameras);
        }
    } else {
        RequestOpen({});
    }
    return noErr;  // collected on a later tick
}

void QCameraGrabberBase::RequestOpen(std::vector<Camera> const& cameras) {
    CaptureOpenRequest request;
    for (Camera const& camera : cameras) {
        request.cameras.push_back({PStr63ToString(camera.deviceName), camera.input});
    }
    bool const fSized = !mVDIGRequestRect.IsEmpty();
    request.width = fSized ? mVDIGRequestRect.Width() : 640;
    request.height = fSized ? mVDIGRequestRect.Height() : 480;
    request.framesPerSecond = OtherEyesFramesPerSecond();
    mPendingReplaces = mVideoChannel != nullptr;
    mPendingOpen = CaptureRegistry::Shared().Opener().Open(std::move(request));
}

int QCameraGrabberBase::CollectOpenedCamera() {
    if (!mPendingOpen || !mPendingOpen->done.load(std::memory_order_acquire)) {
        return noErr;
    }
    std::shared_ptr<CaptureOpenResult> const opened = std::move(mPendingOpen);
    if (opened->err != noErr) {
        if (!mPendingReplaces) {
            mTrouble = SGStatusText(opened->err);
        }
        return noErr;  // tried again after the next period, or the next change of cameras
    }
    if (mPendingReplaces) {
        CoreMachDebugLog("QCameraGrabberBase: '%s' gives way to '%s'\n", mOpenCameraName.c_str(),
                         opened->device.inputs[opened->input].c_str());
        StopRecord();
    }
    Camera camera;
    PStr63FromCString(opened->device.name.c_str(), camera.deviceName);
    camera.input = static_cast<std::int16_t>(opened->input);
    mHandOver = opened.get();
    int const err = OpenCameraInput(&camera);
    mHandOver = nullptr;
    if (err == noErr && mVideoChannel != nullptr &&
        ChoiceNames(mWantedCameraName, mOpenCameraName)) {
        mWantedCameraName.clear();
    }
    return err;
}

std::vector<QCameraGrabberBase::Camera> QCameraGrabberBase::RealCameras(std::string const& first) {
    std::vector<Camera> cameras;
    QSGDeviceList list;
    if (!GetCameraInputList(list)) {
        return cameras;
    }
    Camera camera;
    if (!first.empty() && FindCameraNamed(list, first, camera)) {
        cameras.push_back(camera);
        return cameras;  // that camera, or none
    }
    for (bool more = list.GetFirstInput(camera); more; more = list.GetNextInput(camera)) {
        if (PStr63ToString(camera.deviceName) != TestPatternBackEnd::kDeviceName &&
            !IsWantedByAnother(PStr63ToString(camera.inputName))) {
            cameras.push_back(camera);
        }
    }
    return cameras;
}

void QCameraGrabberBase::LookForRealCamera() {
    Str63 deviceName = {0};
    mVideoChannel->GetDeviceAndInputNames(nullptr, deviceName, nullptr);
    if (PStr63View(deviceName) != TestPatternBackEnd::kDeviceName) {
        mSeenDevicesGeneration = ~std::uint64_t{0};  // looks again once on the test pattern
        return;
    }
    std::uint64_t const generation = CaptureRegistry::Shared().DevicesGeneration();
    if (generation == mSeenDevicesGeneration) {
        return;  // no camera came or went
    }
    mSeenDevicesGeneration = generation;
    // Its stored choice if that is plugged in now; otherwise any real camera that opens (the
    // other eye's is busy and passed over).
    std::vector<Camera> const cameras = RealCameras(mWantedCameraName);
    if (!cameras.empty()) {
        RequestOpen(cameras);
    }
}

bool QCameraGrabberBase::GetCameraNamed(std::string const& name, Camera& camera) {
    QSGDeviceList list;
    return GetCameraInputList(list) && FindCameraNamed(list, name, camera);
}

// ---- Cameras ----

bool QCameraGrabberBase::GetActiveCameraDeviceList(QSGDeviceList& list) {
    if (GetChannelDeviceList(mVideoChannel, sgDeviceListIncludeInputs, list) != noErr) {
        return false;
    }
    std::int16_t deviceCount = 0;
    list.GetDeviceNameCount(deviceCount);
    // clang-format off
    VERIFY(deviceCount>0);
    // clang-format on
    return deviceCount > 0;
}

bool QCameraGrabberBase::GetCameraInputList(QSGDeviceList& list) {
    if (mVideoChannel != nullptr) {
        return GetActiveCameraDeviceList(list);
    }
    if (!mComponent) {
        return false;
    }
    // A channel only to ask for the list; no camera is opened for it.
    SGChannel* channel = nullptr;
    int err;
    VERIFY_ERR(err = mComponent->NewChannel(VideoMediaType, &channel));
    if (err != noErr) {
        return false;
    }
    err = GetChannelDeviceList(channel, sgDeviceListIncludeInputs, list);
    mComponent->DisposeChannel(channel);
    std::int16_t deviceCount = 0;
    if (err == noErr) {
        list.GetDeviceNameCount(deviceCount);
    }
    return deviceCount > 0;
}

std::int16_t QCameraGrabberBase::GetCameraCount() {
    QSGDeviceList list;
    if (!GetActiveCameraDeviceList(list)) {
        return 0;
    }
    std::int16_t count = 0;
    Camera camera;
    for (bool fOk = list.GetFirstInput(camera); fOk; fOk = list.GetNextInput(camera)) {
        ++count;
    }
    return count;
}

bool QCameraGrabberBase::GetFirstCamera(Camera& camera) {
    QSGDeviceList list;
    return GetActiveCameraDeviceList(list) && list.GetFirstInput(camera);
}

bool QCameraGrabberBase::GetLastCamera(Camera& camera) {
    QSGDeviceList list;
    return GetActiveCameraDeviceList(list) && list.GetLastInput(camera);
}

bool QCameraGrabberBase::GetNextCamera(Camera& camera) {
    QSGDeviceList list;
    return GetActiveCameraDeviceList(list) && list.GetNextInput(camera);
}

bool QCameraGrabberBase::GetPrevCamera(Camera& camera) {
    QSGDeviceList list;
    return GetActiveCameraDeviceList(list) && list.GetPrevInput(camera);
}

bool QCameraGrabberBase::GetCurrentCamera(Camera& camera) {
    camera.Empty();
    if (mVideoChannel == nullptr || !mComponent) {
        return false;
    }
    QSGDeviceList list;
    if (!GetActiveCameraDeviceList(list)) {
        return false;
    }
    Str63 deviceName;
    Str63 inputName;
    short inputNumber = 0;
    if (mVideoChannel->GetDeviceAndInputNames(deviceName, inputName, &inputNumber) != noErr ||
        deviceName[0] == 0) {
        return false;
    }
    // The channel names its camera as the list names it among the inputs.
    return list.FindInputNamed(deviceName, camera);
}

bool QCameraGrabberBase::IsThisTheCurrentCamera(Camera const& camera) {
    Camera current;
    return GetCurrentCamera(current) && current == camera;
}

bool QCameraGrabberBase::GetCameraWithDeviceInputName(Camera& camera, char const* name) {
    // A stored name with a port keeps its model named by port, before the list is made.
    CaptureRegistry::Shared().V4L2().RememberCameraName(name);
    QSGDeviceList list;
    return GetActiveCameraDeviceList(list) && FindCameraNamed(list, name, camera);
}

bool QCameraGrabberBase::FindCameraNamed(QSGDeviceList const& list, std::string const& name,
                                         Camera& camera) {
    // The exact name first; then the same camera named with or without its port, as one of
    // two identical cameras is when it was chosen before its twin was first seen.
    Str63 wanted;
    PStr63FromCString(name.c_str(), wanted);
    for (bool more = list.GetFirstInput(camera); more; more = list.GetNextInput(camera)) {
        if (PStr63Equal(camera.inputName, wanted)) {
            return true;
        }
    }
    std::string const model = V4L2Naming::WithoutPort(name);
    for (bool more = list.GetFirstInput(camera); more; more = list.GetNextInput(camera)) {
        if (V4L2Naming::WithoutPort(PStr63ToString(camera.inputName)) == model) {
            return true;
        }
    }
    return false;
}

bool QCameraGrabberBase::UseNextCamera() {
    return UseCameraBeside(&QCameraGrabberBase::GetLastCamera, &QCameraGrabberBase::GetNextCamera);
}

bool QCameraGrabberBase::UsePrevCamera() {
    return UseCameraBeside(&QCameraGrabberBase::GetFirstCamera, &QCameraGrabberBase::GetPrevCamera);
}

bool QCameraGrabberBase::UseCameraBeside(CameraStep fallback, CameraStep step) {
    if (GetCameraCount() < 2) {
        return false;
    }
    // Without a current camera the step starts from the fallback (the last camera for
    // next, the first for previous), so it usually finds nothing: there is no wrap-around.
    Camera camera;
    if (!GetCurrentCamera(camera)) {
        (this->*fallback)(camera);
    }
    if (!(this->*step)(camera)) {
        return false;
    }
    int err;
    VERIFY_ERR(err = SwitchToCamera(camera));
    return err == noErr;
}

int QCameraGrabberBase::SwitchToCamera(Camera const& camera) {
    if (IsThisTheCurrentCamera(camera)) {
        return paramErr;
    }
    QSGDeviceList list;
    if (!GetActiveCameraDeviceList(list)) {
        return paramErr;
    }
    if (!list.IsValidDeviceInput(camera) || camera.IsDeviceEmpty()) {
        return paramErr;
    }
    // The camera asked for may be held by the other eye or another program, which shows
    // only once it is opened; the current one is then taken back, so no eye goes dark.
    Camera previous;
    bool const fHadCamera = GetCurrentCamera(previous);
    int result;
    // clang-format off
    VERIFY_ERR(result=StopRecord());
    // clang-format on
    if (result != noErr) {
        return result;
    }
    if (mVideoChannel != nullptr) {
        return paramErr;
    }
    result = OpenAndRecord(camera);
    if (result == noErr) {
        return noErr;
    }
    camera.CoreDebugLog("QCameraGrabberBase::SwitchCameraInputTo ERROR SWITCHING");
    std::string const wanted = PStr63ToString(camera.inputName);
    if (!fHadCamera) {
        CoreMachDebugLog("QCameraGrabberBase: cannot use '%s': %s\n", wanted.c_str(),
                         SGStatusText(result));
        return result;  // no channel: Idle opens the default camera again
    }
    std::string const kept = PStr63ToString(previous.inputName);
    int const back = OpenAndRecord(previous);
    mTrouble = "'" + wanted + "' cannot be used: " + SGStatusText(result);
    CoreMachDebugLog("QCameraGrabberBase: cannot use '%s': %s; %s '%s'\n", wanted.c_str(),
                     SGStatusText(result), back == noErr ? "staying with" : "could not reopen",
                     kept.c_str());
    return result;
}

int QCameraGrabberBase::OpenAndRecord(Camera const& camera) {
    SGRect const useFrameBufferRect = mFrameBufferRect;
    OSType const usePixelFormat = mFrameBufferPixelFormat;
    Camera const camera_input = camera;
    int result;
    // clang-format off
    VERIFY_ERR(result=OpenInitialize(useFrameBufferRect,usePixelFormat,&camera_input));
    // clang-format on
    if (result != noErr) {
        return result;
    }
    // clang-format off
    VERIFY_ERR(result=StartRecord());
    // clang-format on
    if (result != noErr) {
        StopRecord();
    }
    return result;
}

void QCameraGrabberBase::GetStatus(QCameraStatus& status) const {
    status = QCameraStatus();
    if (mVideoChannel != nullptr) {
        status.camera = mOpenCameraName;
        status.format = mCameraImageDesc.cType;
        status.width = mCameraImageDesc.width;
        status.height = mCameraImageDesc.height;
        // Arrivals within the last second, counted as of now.
        double const now = Microseconds();
        status.framesPerSecond = static_cast<double>(
            std::count_if(mRecentFrameMicroseconds.begin(), mRecentFrameMicroseconds.end(),
                          [now](double at) { return at > now - 1e6; }));
        status.trouble = mVideoChannel->Compromise();
    }
    status.framesDropped = FramesDropped();
    if (status.trouble.empty()) {
        status.trouble = mTrouble;
    }
}

// ---- Logging ----

void QCameraGrabberBase::DumpRelevantInfoToLog() {
    Str63 deviceName = {0};
    Str63 inputName = {0};
    short inputNumber = 0;
    if (mVideoChannel != nullptr) {
        mVideoChannel->GetDeviceAndInputNames(deviceName, inputName, &inputNumber);
    }
    CorePString const deviceText(deviceName);
    CorePString const inputText(inputName);
    CoreMachDebugLog(
        "QCameraGrabberBase::GetVideoSampleDescription deviceName:%s inputName%s "
        "inputNumber:%d\n",
        deviceText.c_str(), inputText.c_str(), inputNumber);
}

void QCameraGrabberBase::DebugDumpDeviceInputNames() {
    QSGDeviceList list;
    if (!GetActiveCameraDeviceList(list)) {
        return;
    }
    std::int16_t deviceCount = 0;
    list.GetDeviceNameCount(deviceCount);
    for (int device = 0; device < deviceCount; ++device) {
        std::int16_t inputCount = 0;
        list.GetDeviceInputNameCount(device, inputCount);
        for (int input = 0; input < inputCount; ++input) {
            Str63 name;
            if (list.GetDeviceInputName(device, name, input)) {
                CorePString const text(name);
                CoreMachDebugLog("QCamReflecter::ChannelDialogBox deviceInput:%s\n", text.c_str());
            }
        }
    }
}
