#include "platform/capture/TestPatternScene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "CoreG/PerlinNoise.h"

namespace {

constexpr double kEyeSeparationMetres = 0.065;
constexpr int kTextureSize = 256;  // texels; textures repeat
constexpr double kTwoPi = 6.283185307179586;

// One square texture per plane: fractal Perlin noise between two colours, with a faint grid
// so that people see depth as well as noise.
struct Texture {
    std::array<std::uint32_t, kTextureSize * kTextureSize> texels;
};

struct Palette {
    std::uint32_t dark;
    std::uint32_t light;
    float frequency;  // lattice cells per texture
    double texelsPerMetre;
};

constexpr Palette kPalettes[TestPatternScene::kPlaneCount] = {
    {0xFF1B2A4Au, 0xFF6F9AC8u, 16.0f, 48.0},  // background: blue-grey sky
    {0xFF3A5A1Eu, 0xFFB8D86Au, 8.0f, 120.0},  // far card: green
    {0xFF6A2C12u, 0xFFF0A050u, 8.0f, 220.0},  // middle card: orange
    {0xFF5A1040u, 0xFFF088D0u, 4.0f, 380.0},  // near card: magenta
};

std::uint32_t Mix(std::uint32_t a, std::uint32_t b, float t) {
    std::uint32_t result = 0xFF000000u;
    for (int shift = 0; shift < 24; shift += 8) {
        float const ca = static_cast<float>((a >> shift) & 0xFF);
        float const cb = static_cast<float>((b >> shift) & 0xFF);
        auto const c = static_cast<std::uint32_t>(std::clamp(ca + (cb - ca) * t, 0.0f, 255.0f));
        result |= c << shift;
    }
    return result;
}

Texture MakeTexture(int plane) {
    Palette const& palette = kPalettes[plane];
    CoreGeometry::PerlinNoise const& noise = CoreGeometry::PerlinNoise::sSingleton;
    Texture texture;
    float const cellsPerTexel = palette.frequency / kTextureSize;
    float const z = 0.37f + 1.7f * static_cast<float>(plane);
    for (int y = 0; y < kTextureSize; ++y) {
        for (int x = 0; x < kTextureSize; ++x) {
            // Four octaves; the seam where the texture repeats lies under a grid line.
            float value = 0.0f;
            float amplitude = 1.0f;
            float scale = cellsPerTexel;
            for (int octave = 0; octave < 4; ++octave) {
                value += amplitude * noise.Noise3(x * scale, y * scale, z);
                amplitude *= 0.5f;
                scale *= 2.0f;
            }
            std::uint32_t texel = Mix(palette.dark, palette.light, 0.5f + value);
            if (x % 64 == 0 || y % 64 == 0) {
                texel = Mix(texel, 0xFF000000u, 0.35f);
            }
            texture.texels[y * kTextureSize + x] = texel;
        }
    }
    return texture;
}

Texture const& TextureOf(int plane) {
    // Built on first use, on the thread that renders (the main thread).
    static std::vector<Texture> const sTextures = [] {
        std::vector<Texture> textures;
        for (int i = 0; i < TestPatternScene::kPlaneCount; ++i) {
            textures.push_back(MakeTexture(i));
        }
        return textures;
    }();
    return sTextures[plane];
}

double Oscillate(double seconds, double period, double phase) {
    return std::sin(kTwoPi * std::fmod(seconds / period, 1.0) + phase);
}

// One horizontal run of a plane: pixels [u0, u1) of a row, texture column at u0 and step.
void FillRun(std::uint32_t* row, int u0, int u1, double texelX, double texelStep,
             std::uint32_t const* textureRow) {
    // 16.16 fixed point over the run; the texture repeats every 256 texels.
    auto fixed = static_cast<std::int64_t>(std::floor(texelX * 65536.0));
    auto const step = static_cast<std::int64_t>(texelStep * 65536.0);
    for (int u = u0; u < u1; ++u) {
        row[u] = textureRow[(fixed >> 16) & (kTextureSize - 1)];
        fixed += step;
    }
}

}  // namespace

void TestPatternScene::PlanesAt(double seconds, Plane planes[kPlaneCount]) {
    planes[0] = {9.0, 0.0, 0.0, 0.0, 0.0, 0.08 * std::fmod(seconds, 600.0)};
    planes[1] = {4.0,
                 -0.7 + 0.35 * Oscillate(seconds, 11.0, 0.0),
                 0.45 + 0.12 * Oscillate(seconds, 11.0, 1.3),
                 0.8,
                 0.55,
                 0.0};
    planes[2] = {2.3,
                 0.5 * Oscillate(seconds, 7.0, 1.0),
                 -0.25 + 0.08 * Oscillate(seconds, 5.0, 0.0),
                 0.38,
                 0.3,
                 0.0};
    planes[3] = {1.35 + 0.15 * Oscillate(seconds, 5.0, 0.5),
                 0.22 + 0.15 * Oscillate(seconds, 5.0, 2.0),
                 0.05 + 0.1 * Oscillate(seconds, 3.0, 0.0),
                 0.13,
                 0.13,
                 0.0};
}

double TestPatternScene::DisparityPixels(double depth, int width) {
    return FocalLength(width) * kEyeSeparationMetres / depth;
}

double TestPatternScene::ProjectX(double x, double depth, Eye eye, int width) {
    double const eyeX = eye == kLeftEye ? -kEyeSeparationMetres / 2 : kEyeSeparationMetres / 2;
    return width / 2.0 + FocalLength(width) * (x - eyeX) / depth;
}

double TestPatternScene::ProjectY(double y, double depth, int height, int width) {
    return height / 2.0 - FocalLength(width) * y / depth;
}

void TestPatternScene::Render(double seconds, Eye eye, std::uint8_t* argb, int rowBytes, int width,
                              int height) {
    Plane planes[kPlaneCount];
    PlanesAt(seconds, planes);
    double const focal = FocalLength(width);
    double const eyeX = eye == kLeftEye ? -kEyeSeparationMetres / 2 : kEyeSeparationMetres / 2;
    for (int v = 0; v < height; ++v) {
        auto* row =
            reinterpret_cast<std::uint32_t*>(argb + static_cast<std::ptrdiff_t>(rowBytes) * v);
        // Planes are listed far to near: each one paints over those behind it.
        for (int p = 0; p < kPlaneCount; ++p) {
            Plane const& plane = planes[p];
            double const metresPerPixel = plane.depth / focal;
            double const texelsPerMetre = kPalettes[p].texelsPerMetre;
            double const y = (height / 2.0 - (v + 0.5)) * metresPerPixel;  // scene y of the row
            int u0 = 0;
            int u1 = width;
            double left = 0.0;  // scene x where the texture's column 0 lies
            if (plane.halfWidth > 0.0) {
                if (y < plane.centerY - plane.halfHeight || y >= plane.centerY + plane.halfHeight) {
                    continue;
                }
                left = plane.centerX - plane.halfWidth;
                double const right = plane.centerX + plane.halfWidth;
                u0 = std::max(
                    0, static_cast<int>(std::ceil(ProjectX(left, plane.depth, eye, width) - 0.5)));
                u1 = std::min(
                    width,
                    static_cast<int>(std::ceil(ProjectX(right, plane.depth, eye, width) - 0.5)));
                if (u0 >= u1) {
                    continue;
                }
            } else {
                left = -plane.textureOffsetX;
            }
            double const top = plane.halfWidth > 0.0 ? plane.centerY + plane.halfHeight : 0.0;
            auto const texelY = static_cast<int>(std::floor((top - y) * texelsPerMetre));
            std::uint32_t const* textureRow =
                TextureOf(p).texels.data() + (texelY & (kTextureSize - 1)) * kTextureSize;
            // Scene x of pixel u's centre seen from this eye.
            double const x0 = (u0 + 0.5 - width / 2.0) * metresPerPixel + eyeX;
            FillRun(row, u0, u1, (x0 - left) * texelsPerMetre, metresPerPixel * texelsPerMetre,
                    textureRow);
        }
    }
}
