#include "app/DSCMonitorScaler.h"

#include <algorithm>

#include "platform/imaging/CIPixelKernels.h"

namespace {

uint32_t Blend(uint32_t a, uint32_t b, uint32_t f) {
    uint32_t result = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        uint32_t const x = (a >> shift) & 0xFF;
        uint32_t const y = (b >> shift) & 0xFF;
        result |= ((x * (256 - f) + y * f + 128) >> 8) << shift;
    }
    return result;
}

bool UseAVX2() {
#if defined(DSC_HAVE_AVX2)
    return CIUseAVX2Kernels();
#else
    return false;
#endif
}

// Output pixel i's centre falls on source position (i + 0.5) * in / out - 0.5 (the centres
// convention the GPU's linear filter and Qt's smooth scaling use), held inside the picture.
void Positions(int in, int out, std::vector<int32_t>& first, std::vector<int32_t>& second,
               std::vector<int32_t>& share) {
    first.resize(std::size_t(out));
    second.resize(std::size_t(out));
    share.resize(std::size_t(out));
    int64_t const step = (int64_t{in} << 16) / out;
    int64_t position = step / 2 - 32768;
    for (int i = 0; i < out; ++i, position += step) {
        int64_t const held = std::clamp<int64_t>(position, 0, int64_t{in - 1} << 16);
        first[std::size_t(i)] = static_cast<int32_t>(held >> 16);
        second[std::size_t(i)] = std::min(first[std::size_t(i)] + 1, in - 1);
        share[std::size_t(i)] = static_cast<int32_t>((held >> 8) & 0xFF);
    }
}

}  // namespace

void DSCScaleRowAcross_C(uint32_t const* src, uint32_t* dst, int width, int32_t const* x0,
                         int32_t const* x1, int32_t const* fx) {
    for (int i = 0; i < width; ++i) {
        dst[i] = Blend(src[x0[i]], src[x1[i]], static_cast<uint32_t>(fx[i]));
    }
}

void DSCBlendRows_C(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                    uint32_t fy) {
    for (int i = 0; i < width; ++i) {
        dst[i] = Blend(row0[i], row1[i], fy);
    }
}

void DSCMonitorScaler::prepare(QSize source, QSize size) {
    mSource = source;
    mScaled = QImage(size, QImage::Format_ARGB32_Premultiplied);
    Positions(source.width(), size.width(), mX0, mX1, mFx);
    Positions(source.height(), size.height(), mY0, mY1, mFy);
    mAcross.resize(std::size_t(source.height()) * std::size_t(size.width()));
}

QImage& DSCMonitorScaler::scale(QImage const& source, QSize size) {
    if (source.size() != mSource || mScaled.size() != size) {
        prepare(source.size(), size);
    }
    int const width = size.width();
    bool const avx2 = UseAVX2();
    int const wide = avx2 ? width & ~7 : 0;
    auto across = [&](int y) { return mAcross.data() + std::size_t(y) * std::size_t(width); };
    for (int y = 0; y < source.height(); ++y) {
        auto const* row = reinterpret_cast<uint32_t const*>(source.constScanLine(y));
        if (wide > 0) {
            DSCScaleRowAcross_AVX2(row, across(y), wide, mX0.data(), mX1.data(), mFx.data());
        }
        DSCScaleRowAcross_C(row, across(y) + wide, width - wide, mX0.data() + wide,
                            mX1.data() + wide, mFx.data() + wide);
    }
    for (int y = 0; y < size.height(); ++y) {
        std::size_t const i = std::size_t(y);
        // scanLine() of an image no one else holds: no copy.
        auto* out = reinterpret_cast<uint32_t*>(mScaled.scanLine(y));
        uint32_t const fy = static_cast<uint32_t>(mFy[i]);
        if (wide > 0) {
            DSCBlendRows_AVX2(across(mY0[i]), across(mY1[i]), out, wide, fy);
        }
        DSCBlendRows_C(across(mY0[i]) + wide, across(mY1[i]) + wide, out + wide, width - wide, fy);
    }
    return mScaled;
}
