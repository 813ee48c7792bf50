#pragma once
// Which frames of the two eyes are shown together. Two free-running cameras at 30 frames a
// second can be up to 33 ms apart, which turns motion into false depth; each eye therefore
// holds its last few frames with their capture times, and every tick the pair closest in
// time is shown, a newer pair winning over an older one that is only a little closer.

#include <cstdint>
#include <vector>

class QCameraGrabberBase;

namespace QCameraPairing {

// Indices into each eye's held frames (oldest first); -1 keeps the frame the eye shows.
struct Choice {
    int left = -1;
    int right = -1;
    double errorMs = -1.0;  // between the pair shown after the choice; negative: not known
};

// `held...Us`: the capture times of the frames each eye holds, oldest first; `shown...Us`:
// that of the frame it shows now, negative for none.
Choice Choose(std::vector<std::int64_t> const& heldLeftUs, std::int64_t shownLeftUs,
              std::vector<std::int64_t> const& heldRightUs, std::int64_t shownRightUs);

// Chooses for two grabbers that hold their frames, and has each decode its frame of the
// pair. Main thread, after both grabbers' Idle.
Choice ShowBestPair(QCameraGrabberBase& left, QCameraGrabberBase& right);

}  // namespace QCameraPairing
