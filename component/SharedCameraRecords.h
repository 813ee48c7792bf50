#pragma once
// The records and entry points through which the application drives the virtual-camera
// component. They are the component's wire format: field order and packing are fixed, and
// every size check uses sizeof, never a number.

#include <cstdint>

#pragma pack(push, 1)

// One writable frame buffer of the component. The application zeroes the record, sets the
// size field and asks the component to fill in the rest. A frame of another size than the
// default 640 x 480 is asked for by setting frameWidth and frameHeight too; a size the
// buffer cannot hold is refused.
struct SHARED_CAMERA_BUFFER {
    std::uint32_t sizeofSHARED_CAMERA_BUFFER;
    void* frameBufferPtr;  // first byte of the shared frame; also the buffer's handle
    std::int32_t frameBufferRowBytes;
    std::int32_t frameBufferSizeBytes;
    std::int16_t frameWidth;
    std::int16_t frameHeight;
    std::uint32_t framePixelFormat;  // four-character code
};

// Whether client programs may take frames from the virtual camera.
struct SHARED_CAMERA_CONTROL {
    std::uint32_t sizeofSHARED_CAMERA_CONTROL;
    std::int32_t allowCameraConnections;  // 1 allowed, 0 refused
};

#pragma pack(pop)

static_assert(sizeof(void*) != 8 || sizeof(SHARED_CAMERA_BUFFER) == 28);
static_assert(sizeof(SHARED_CAMERA_CONTROL) == 8);

// The names under which the component exports its entry points.
inline constexpr char kCameraComponentFunction[] = "__public_fn_";
inline constexpr char kCameraComponentFunction0[] = "__public_fn0";
inline constexpr char kCameraComponentFunction1[] = "__public_fn1";
inline constexpr char kCameraComponentFunction2[] = "__public_fn2";
inline constexpr char kCameraComponentFunction3[] = "__public_fn3";
inline constexpr char kCameraComponentFunction4[] = "__public_fn4";
inline constexpr char kCameraComponentFunction5[] = "__public_fn5";

inline constexpr char kCameraComponentBaseName[] = "Duoscope_XXX";
inline constexpr char kCameraComponentFileName[] = "Duoscope_XXX.component";

// The entry points' types, in the order of the names above.
extern "C" {
// Sets whether clients may connect. Returns 1, or 0 for a bad record.
typedef int (*CameraComponentSetControlProc)(SHARED_CAMERA_CONTROL*);
// Fills the record of buffer 0 or 1 (attaching the shared memory first). Nonzero when filled.
typedef int (*CameraComponentGetBufferProc)(int bufferNumber, SHARED_CAMERA_BUFFER*);
// Makes the buffer the one clients read. Returns 1, or 0 for an unknown buffer.
typedef int (*CameraComponentSetReadBufferProc)(void* frameBufferPtr);
// Query only: the shared-memory layout version the component writes.
typedef int (*CameraComponentLayoutVersionProc)(void);
// Query only: the number of frames published since the component was loaded.
typedef int (*CameraComponentFrameCountProc)(void);
// Lock and unlock one buffer for writing; true when done. A lock waits a bounded time.
typedef bool (*CameraComponentLockProc)(void* frameBufferPtr);
}
