#include "platform/stereo/StereoAlignmentEstimate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;

// One level of the grey pyramid; `valid` is 0 where the picture has no pixels.
struct Level {
    int width = 0;
    int height = 0;
    std::vector<float> grey;
    std::vector<std::uint8_t> valid;

    float at(int x, int y) const { return grey[static_cast<std::size_t>(y) * width + x]; }
    bool validAt(int x, int y) const { return valid[static_cast<std::size_t>(y) * width + x]; }
};

Level GreyOf(StereoPicture const& picture) {
    Level level;
    level.width = picture.width;
    level.height = picture.height;
    level.grey.resize(static_cast<std::size_t>(picture.width) * picture.height);
    level.valid.resize(level.grey.size());
    for (int y = 0; y < picture.height; ++y) {
        std::uint32_t const* row = picture.row(y);
        for (int x = 0; x < picture.width; ++x) {
            std::uint32_t const p = row[x];
            std::size_t const i = static_cast<std::size_t>(y) * picture.width + x;
            // Rec. 601 luma; premultiplied values are what the screen shows over black.
            level.grey[i] =
                0.299f * ((p >> 16) & 0xFF) + 0.587f * ((p >> 8) & 0xFF) + 0.114f * (p & 0xFF);
            level.valid[i] = (p >> 24) == 0xFF;
        }
    }
    return level;
}

Level HalfOf(Level const& level) {
    Level half;
    half.width = level.width / 2;
    half.height = level.height / 2;
    half.grey.resize(static_cast<std::size_t>(half.width) * half.height);
    half.valid.resize(half.grey.size());
    for (int y = 0; y < half.height; ++y) {
        for (int x = 0; x < half.width; ++x) {
            std::size_t const i = static_cast<std::size_t>(y) * half.width + x;
            half.grey[i] = 0.25f * (level.at(2 * x, 2 * y) + level.at(2 * x + 1, 2 * y) +
                                    level.at(2 * x, 2 * y + 1) + level.at(2 * x + 1, 2 * y + 1));
            half.valid[i] = level.validAt(2 * x, 2 * y) && level.validAt(2 * x + 1, 2 * y) &&
                            level.validAt(2 * x, 2 * y + 1) && level.validAt(2 * x + 1, 2 * y + 1);
        }
    }
    return half;
}

// A square patch of side 2 radius + 1 around (x, y), zero-mean and scaled to unit length, so
// that a dot product of two is their normalised cross-correlation. Empty when the patch
// leaves the picture, has no pixels somewhere or has no texture.
bool NormalisedPatch(Level const& level, int x, int y, int radius, std::vector<float>& patch) {
    if (x - radius < 0 || y - radius < 0 || x + radius >= level.width ||
        y + radius >= level.height) {
        return false;
    }
    patch.clear();
    double sum = 0.0;
    for (int dy = -radius; dy <= radius; ++dy) {
        for (int dx = -radius; dx <= radius; ++dx) {
            if (!level.validAt(x + dx, y + dy)) {
                return false;
            }
            float const value = level.at(x + dx, y + dy);
            patch.push_back(value);
            sum += value;
        }
    }
    auto const mean = static_cast<float>(sum / static_cast<double>(patch.size()));
    double energy = 0.0;
    for (float& value : patch) {
        value -= mean;
        energy += static_cast<double>(value) * value;
    }
    if (energy < 1e-3 * static_cast<double>(patch.size())) {
        return false;  // flat: it matches anything
    }
    auto const norm = static_cast<float>(1.0 / std::sqrt(energy));
    for (float& value : patch) {
        value *= norm;
    }
    return true;
}

// Scores of a patch of `right` against the left level over a window of displacements.
struct Search {
    int centreX;  // the displacement the window is centred on
    int centreY;
    int rangeX;
    int rangeY;
};

struct Best {
    bool found = false;
    int dx = 0;
    int dy = 0;
    double score = -2.0;
    double subX = 0.0;  // sub-pixel part from the parabola
    double subY = 0.0;
};

double ParabolaPeak(double before, double at, double after) {
    double const curvature = before - 2.0 * at + after;
    if (curvature >= -1e-9) {
        return 0.0;
    }
    return std::clamp(0.5 * (before - after) / curvature, -0.5, 0.5);
}

Best Match(Level const& left, Level const& right, int x, int y, int radius, Search const& search) {
    Best best;
    std::vector<float> reference;
    if (!NormalisedPatch(right, x, y, radius, reference)) {
        return best;
    }
    int const columns = 2 * search.rangeX + 1;
    int const rows = 2 * search.rangeY + 1;
    std::vector<double> scores(static_cast<std::size_t>(columns) * rows, -2.0);
    std::vector<float> candidate;
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
            int const dx = search.centreX + i - search.rangeX;
            int const dy = search.centreY + j - search.rangeY;
            if (!NormalisedPatch(left, x + dx, y + dy, radius, candidate)) {
                continue;
            }
            double score = 0.0;
            for (std::size_t k = 0; k < reference.size(); ++k) {
                score += static_cast<double>(reference[k]) * candidate[k];
            }
            scores[static_cast<std::size_t>(j) * columns + i] = score;
            if (score > best.score) {
                best = {true, dx, dy, score, 0.0, 0.0};
            }
        }
    }
    if (!best.found) {
        return best;
    }
    int const i = best.dx - search.centreX + search.rangeX;
    int const j = best.dy - search.centreY + search.rangeY;
    auto const score = [&](int ii, int jj) {
        return scores[static_cast<std::size_t>(jj) * columns + ii];
    };
    if (i > 0 && i + 1 < columns && score(i - 1, j) > -2.0 && score(i + 1, j) > -2.0) {
        best.subX = ParabolaPeak(score(i - 1, j), best.score, score(i + 1, j));
    }
    if (j > 0 && j + 1 < rows && score(i, j - 1) > -2.0 && score(i, j + 1) > -2.0) {
        best.subY = ParabolaPeak(score(i, j - 1), best.score, score(i, j + 1));
    }
    return best;
}

// The strongest corner of each grid cell of `level`, as (x, y) pairs.
std::vector<std::array<int, 2>> Corners(Level const& level, int cell, int margin) {
    int const w = level.width;
    int const h = level.height;
    std::vector<float> gx(static_cast<std::size_t>(w) * h, 0.0f);
    std::vector<float> gy(gx.size(), 0.0f);
    for (int y = 1; y + 1 < h; ++y) {
        for (int x = 1; x + 1 < w; ++x) {
            std::size_t const i = static_cast<std::size_t>(y) * w + x;
            gx[i] = 0.5f * (level.at(x + 1, y) - level.at(x - 1, y));
            gy[i] = 0.5f * (level.at(x, y + 1) - level.at(x, y - 1));
        }
    }
    struct Candidate {
        float score;
        int x;
        int y;
    };
    std::vector<Candidate> best;
    float strongest = 0.0f;
    for (int cy = margin; cy + cell <= h - margin; cy += cell) {
        for (int cx = margin; cx + cell <= w - margin; cx += cell) {
            Candidate top{0.0f, 0, 0};
            for (int y = cy; y < cy + cell; ++y) {
                for (int x = cx; x < cx + cell; ++x) {
                    // The structure tensor over 5 x 5 pixels.
                    float sxx = 0.0f, syy = 0.0f, sxy = 0.0f;
                    for (int v = y - 2; v <= y + 2; ++v) {
                        for (int u = x - 2; u <= x + 2; ++u) {
                            std::size_t const i = static_cast<std::size_t>(v) * w + u;
                            sxx += gx[i] * gx[i];
                            syy += gy[i] * gy[i];
                            sxy += gx[i] * gy[i];
                        }
                    }
                    float const half = 0.5f * (sxx + syy);
                    float const spread = std::sqrt(0.25f * (sxx - syy) * (sxx - syy) + sxy * sxy);
                    float const smaller = half - spread;
                    if (smaller > top.score) {
                        top = {smaller, x, y};
                    }
                }
            }
            if (top.score > 0.0f) {
                best.push_back(top);
                strongest = std::max(strongest, top.score);
            }
        }
    }
    std::vector<std::array<int, 2>> corners;
    for (Candidate const& c : best) {
        if (c.score >= 0.01f * strongest) {
            corners.push_back({c.x, c.y});
        }
    }
    return corners;
}

// A match in full-size pixel coordinates, measured from the picture's centre.
struct Pair {
    double rightX;
    double rightY;
    double leftY;
};

struct Model {
    double b = 0.0;  // s sin a
    double a = 1.0;  // s cos a
    double t = 0.0;  // t.y
    double predict(Pair const& p) const { return b * p.rightX + a * p.rightY + t; }
};

// Least squares over the chosen pairs; false when they do not pin the model down.
bool Fit(std::vector<Pair> const& pairs, std::vector<int> const& chosen, Model& model) {
    double m[3][4] = {};
    for (int index : chosen) {
        Pair const& p = pairs[static_cast<std::size_t>(index)];
        double const row[3] = {p.rightX, p.rightY, 1.0};
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) {
                m[r][c] += row[r] * row[c];
            }
            m[r][3] += row[r] * p.leftY;
        }
    }
    // Gaussian elimination with partial pivoting on the normal equations.
    double const scale = std::max({m[0][0], m[1][1], m[2][2], 1.0});
    for (int col = 0; col < 3; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 3; ++r) {
            if (std::abs(m[r][col]) > std::abs(m[pivot][col])) {
                pivot = r;
            }
        }
        if (std::abs(m[pivot][col]) < 1e-9 * scale) {
            return false;
        }
        std::swap(m[col], m[pivot]);
        for (int r = 0; r < 3; ++r) {
            if (r == col) {
                continue;
            }
            double const f = m[r][col] / m[col][col];
            for (int c = col; c < 4; ++c) {
                m[r][c] -= f * m[col][c];
            }
        }
    }
    model.b = m[0][3] / m[0][0];
    model.a = m[1][3] / m[1][1];
    model.t = m[2][3] / m[2][2];
    return std::isfinite(model.a) && std::isfinite(model.b) && std::isfinite(model.t);
}

std::vector<int> Agreeing(std::vector<Pair> const& pairs, Model const& model, double tolerance) {
    std::vector<int> agreeing;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        if (std::abs(model.predict(pairs[i]) - pairs[i].leftY) <= tolerance) {
            agreeing.push_back(static_cast<int>(i));
        }
    }
    return agreeing;
}

}  // namespace

StereoAlignmentEstimate EstimateStereoAlignment(StereoPicture const& left,
                                                StereoPicture const& right) {
    StereoAlignmentEstimate estimate;
    if (!left.isValid() || !right.isValid() || left.width != right.width ||
        left.height != right.height || left.width < 64 || left.height < 64) {
        return estimate;
    }
    Level const left0 = GreyOf(left);
    Level const right0 = GreyOf(right);
    Level const left1 = HalfOf(left0);
    Level const right1 = HalfOf(right0);
    Level const left2 = HalfOf(left1);
    Level const right2 = HalfOf(right1);

    // The coarse search, at 1/4: patches of 9 x 9, +-24 across, +-8 up and down.
    constexpr int kCoarseRadius = 4;
    constexpr Search kCoarse{0, 0, 24, 8};
    constexpr double kMinimumScore = 0.8;
    double const cx = left.width / 2.0;
    double const cy = left.height / 2.0;
    std::vector<Pair> pairs;
    for (std::array<int, 2> const& corner : Corners(right2, 8, kCoarseRadius + 1)) {
        Best const coarse = Match(left2, right2, corner[0], corner[1], kCoarseRadius, kCoarse);
        if (!coarse.found || coarse.score < 0.7) {
            continue;
        }
        // At 1/2 and at full size the same place, searched +-2 around the coarser answer.
        int const x1 = 2 * corner[0] + 1;
        int const y1 = 2 * corner[1] + 1;
        Best const middle =
            Match(left1, right1, x1, y1, 5, Search{2 * coarse.dx, 2 * coarse.dy, 2, 2});
        if (!middle.found || middle.score < 0.7) {
            continue;
        }
        int const x0 = 2 * x1 + 1;
        int const y0 = 2 * y1 + 1;
        Best const fine =
            Match(left0, right0, x0, y0, 7, Search{2 * middle.dx, 2 * middle.dy, 2, 2});
        if (!fine.found || fine.score < kMinimumScore) {
            continue;
        }
        // Pixel centres, measured from the picture's centre.
        double const rightX = x0 + 0.5 - cx;
        double const rightY = y0 + 0.5 - cy;
        pairs.push_back({rightX, rightY, rightY + fine.dy + fine.subY});
    }
    estimate.candidates = static_cast<int>(pairs.size());
    constexpr int kMinimumMatches = 8;
    if (estimate.candidates < kMinimumMatches) {
        return estimate;
    }

    // RANSAC with a fixed seed, so the same pictures give the same answer.
    constexpr double kTolerancePixels = 1.0;
    std::mt19937 random(20240613u);
    std::uniform_int_distribution<int> pick(0, estimate.candidates - 1);
    std::vector<int> bestAgreeing;
    for (int round = 0; round < 300; ++round) {
        std::vector<int> const sample{pick(random), pick(random), pick(random)};
        if (sample[0] == sample[1] || sample[1] == sample[2] || sample[0] == sample[2]) {
            continue;
        }
        Model model;
        if (!Fit(pairs, sample, model)) {
            continue;
        }
        std::vector<int> agreeing = Agreeing(pairs, model, kTolerancePixels);
        if (agreeing.size() > bestAgreeing.size()) {
            bestAgreeing = std::move(agreeing);
        }
    }
    Model model;
    for (int refine = 0; refine < 3; ++refine) {
        if (static_cast<int>(bestAgreeing.size()) < kMinimumMatches ||
            !Fit(pairs, bestAgreeing, model)) {
            return estimate;
        }
        bestAgreeing = Agreeing(pairs, model, kTolerancePixels);
    }
    if (static_cast<int>(bestAgreeing.size()) < kMinimumMatches) {
        return estimate;
    }
    double before = 0.0;
    double after = 0.0;
    for (int index : bestAgreeing) {
        Pair const& p = pairs[static_cast<std::size_t>(index)];
        before += (p.leftY - p.rightY) * (p.leftY - p.rightY);
        after += (model.predict(p) - p.leftY) * (model.predict(p) - p.leftY);
    }
    double const count = static_cast<double>(bestAgreeing.size());
    estimate.found = true;
    estimate.matches = static_cast<int>(bestAgreeing.size());
    estimate.scale = std::hypot(model.a, model.b);
    estimate.rotationDegrees = std::atan2(model.b, model.a) * 180.0 / kPi;
    estimate.verticalOffset = model.t;
    estimate.residualBeforePixels = std::sqrt(before / count);
    estimate.residualPixels = std::sqrt(after / count);
    return estimate;
}
