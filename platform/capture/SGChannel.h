#pragma once
// A sequence-grabber channel: which camera it records from (a named device and input, or
// the default camera), the size asked of it, and while prepared the open camera itself.
// Frames it grabs go to its component's data procedure.

#include <memory>
#include <string>

#include "platform/capture/CaptureBackEnd.h"
#include "platform/capture/CaptureSource.h"
#include "platform/capture/SGTypes.h"

class SGComponent;

class SGChannel : private CaptureFrameHandler {
public:
    SGChannel(SGComponent& owner, OSType mediaType);
    ~SGChannel();
    SGChannel(SGChannel const&) = delete;
    SGChannel& operator=(SGChannel const&) = delete;

    // Brackets a change of device and input (1 begins, 2 ends); a camera that is open when
    // the change ends is closed, and the new one opens when the component prepares.
    int SetSettingsStateChanging(int state);
    // Chooses a device by its name in the device list; sgNoDeviceErr when there is none now.
    int SetDevice(Str63 const deviceName);
    int SetDeviceInput(short input);
    // Takes a camera opened and started elsewhere (the capture worker) as this channel's
    // device and input: Prepare keeps it, StartRecord finds it streaming.
    void AdoptSource(std::unique_ptr<CaptureSource> source, CaptureDevice const& device,
                     int input);
    // The size asked of the camera: the frame format chosen is the smallest that covers it.
    int SetBounds(SGRect const& bounds);
    // The frame rate asked of the camera when it opens (the nearest it offers): the other
    // eye's, so that both send their frames in step. 30 unless set.
    void SetFramesPerSecond(double framesPerSecond) { mFramesPerSecond = framesPerSecond; }
    // The rate the open camera runs at; 0 when unknown or none is open.
    double FramesPerSecond() const { return mSource ? mSource->FramesPerSecond() : 0.0; }
    int SetUsage(long usage);

    // The open camera: `deviceName` receives the name it has among the device list's inputs
    // (the name that finds it again), `inputName` the name of its device, `inputNumber` its
    // index there. Names are empty before a camera is open.
    int GetDeviceAndInputNames(Str63 deviceName, Str63 inputName, short* inputNumber) const;
    // The layout of the frames the open camera sends; sgNotPreparedErr before it opens.
    int GetSampleDescription(ImageDescription& description) const;
    // What the open camera settled for instead of what was asked ("USB bandwidth: 15 fps").
    std::string Compromise() const { return mSource ? mSource->Compromise() : std::string(); }
    // A fresh list of every device, with their inputs when sgDeviceListIncludeInputs is set.
    int GetDeviceList(long selectionFlags, SGDeviceList& list) const;

    // The component's side.
    OSType MediaType() const { return mMediaType; }
    long Usage() const { return mUsage; }
    bool IsPrepared() const { return mSource != nullptr; }
    int Prepare();  // opens the camera
    int StartRecord();
    int Stop();
    int Idle();  // grabs; the data procedure runs inside

private:
    int OnFrame(std::uint8_t const* data, std::size_t size, std::int64_t timeUs) override;
    void CloseCamera();

    SGComponent& mOwner;
    OSType mMediaType;
    std::string mDeviceName;  // the chosen device; empty for the default camera
    int mInput = 0;
    SGRect mBounds;
    double mFramesPerSecond = 30.0;
    long mUsage = 0;
    int mSettingsState = 0;
    std::unique_ptr<CaptureSource> mSource;
    std::string mOpenDeviceName;  // the open camera's device, its input and its name
    int mOpenInput = 0;
    std::string mCameraName;
    bool mRecording = false;
    bool mStreaming = false;  // the source was started before it was handed over
    bool mLost = false;
};
