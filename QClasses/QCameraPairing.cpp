#include "QClasses/QCameraPairing.h"

#include <cmath>
#include <limits>

#include "QClasses/QCameraGrabberBase.h"

namespace QCameraPairing {

namespace {

// What holding a frame back costs against the pairing error it saves: a frame one period
// old (33 ms) is shown instead of the newest only when that brings the eyes at least
// half a period (17 ms) closer.
constexpr double kHoldBackWeight = 0.5;

}  // namespace

Choice Choose(std::vector<std::int64_t> const& heldLeftUs, std::int64_t shownLeftUs,
              std::vector<std::int64_t> const& heldRightUs, std::int64_t shownRightUs) {
    Choice best;
    // Each eye's candidates: its held frames, and the frame it shows (index -1).
    auto const candidates = [](std::vector<std::int64_t> const& held, std::int64_t shownUs) {
        std::vector<std::pair<int, std::int64_t>> list;
        if (shownUs >= 0) {
            list.emplace_back(-1, shownUs);
        }
        for (int i = 0; i < static_cast<int>(held.size()); ++i) {
            list.emplace_back(i, held[i]);
        }
        return list;
    };
    auto const left = candidates(heldLeftUs, shownLeftUs);
    auto const right = candidates(heldRightUs, shownRightUs);
    if (left.empty() || right.empty()) {
        // One eye has nothing: the other shows its newest.
        best.left = heldLeftUs.empty() ? -1 : static_cast<int>(heldLeftUs.size()) - 1;
        best.right = heldRightUs.empty() ? -1 : static_cast<int>(heldRightUs.size()) - 1;
        return best;
    }
    std::int64_t const newestLeftUs = left.back().second;
    std::int64_t const newestRightUs = right.back().second;
    double bestCost = std::numeric_limits<double>::infinity();
    for (auto const& [l, leftUs] : left) {
        for (auto const& [r, rightUs] : right) {
            double const errorUs = std::abs(static_cast<double>(leftUs - rightUs));
            double const heldBackUs = static_cast<double>(newestLeftUs - leftUs) +
                                      static_cast<double>(newestRightUs - rightUs);
            double const cost = errorUs + kHoldBackWeight * heldBackUs;
            if (cost <= bestCost) {  // a tie goes to the newer pair
                bestCost = cost;
                best = {l, r, errorUs / 1000.0};
            }
        }
    }
    return best;
}

Choice ShowBestPair(QCameraGrabberBase& left, QCameraGrabberBase& right) {
    Choice const choice =
        Choose(left.HeldFrameTimes(), left.ShownFrameMicroseconds(), right.HeldFrameTimes(),
               right.ShownFrameMicroseconds());
    left.ShowHeldFrame(choice.left);
    right.ShowHeldFrame(choice.right);
    return choice;
}

}  // namespace QCameraPairing
