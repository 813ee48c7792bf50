#include "platform/stereo/StereoColorMatch.h"

#include <algorithm>
#include <cmath>

StereoColorMatch EstimateStereoColorMatch(StereoPicture const& left, StereoPicture const& right) {
    StereoColorMatch match;
    if (!left.isValid() || !right.isValid() || left.width != right.width ||
        left.height != right.height) {
        return match;
    }
    // The outer sixteenth on each side shows what only one eye sees (the scene's horizontal
    // disparity): it is left out of both.
    int const band = left.width / 16;
    double sum[2][3] = {};
    double squares[2][3] = {};
    long long count = 0;
    for (int y = 0; y < left.height; ++y) {
        std::uint32_t const* rows[2] = {left.row(y), right.row(y)};
        for (int x = band; x < left.width - band; ++x) {
            // Only where both eyes have a whole pixel: an eye moved by its alignment has none
            // along its edges.
            if ((rows[0][x] >> 24) != 0xFF || (rows[1][x] >> 24) != 0xFF) {
                continue;
            }
            for (int eye = 0; eye < 2; ++eye) {
                for (int channel = 0; channel < 3; ++channel) {
                    double const value = (rows[eye][x] >> (16 - 8 * channel)) & 0xFF;
                    sum[eye][channel] += value;
                    squares[eye][channel] += value * value;
                }
            }
            ++count;
        }
    }
    constexpr long long kMinimumSamples = 1000;
    if (count < kMinimumSamples) {
        return match;
    }
    match.samples = static_cast<int>(std::min<long long>(count, 1LL << 30));
    double const n = static_cast<double>(count);
    for (int channel = 0; channel < 3; ++channel) {
        double mean[2];
        double spread[2];
        for (int eye = 0; eye < 2; ++eye) {
            mean[eye] = sum[eye][channel] / n;
            spread[eye] =
                std::sqrt(std::max(0.0, squares[eye][channel] / n - mean[eye] * mean[eye]));
        }
        // A flat channel (a grey wall, a lens cap) has no spread to match: only its level moves.
        match.gain[channel] = spread[1] >= 1.0 && spread[0] >= 1.0 ? spread[0] / spread[1] : 1.0;
        match.offset[channel] = mean[0] - match.gain[channel] * mean[1];
    }
    match.found = true;
    return match;
}
