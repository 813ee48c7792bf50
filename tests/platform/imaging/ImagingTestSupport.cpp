#include "tests/platform/imaging/ImagingTestSupport.h"

#include <algorithm>
#include <cstdlib>

#include "platform/imaging/CIContext.h"

namespace ImagingTest {

Picture Render(CIImage const& image, int x, int y, int width, int height) {
    Picture picture(width, height, kMarker);
    auto context =
        CIContext::contextWithBitmap(picture.pixels.data(), width, height, picture.rowBytes());
    context->drawImage(image, QPointF(0, 0), QRectF(x, y, width, height));
    return picture;
}

int MaxByteDifference(Picture const& a, Picture const& b) {
    if (a.width != b.width || a.height != b.height) {
        return 256;
    }
    int worst = 0;
    for (size_t i = 0; i < a.pixels.size(); ++i) {
        for (int shift = 0; shift < 32; shift += 8) {
            int const da = int((a.pixels[i] >> shift) & 0xFF);
            int const db = int((b.pixels[i] >> shift) & 0xFF);
            worst = std::max(worst, std::abs(da - db));
        }
    }
    return worst;
}

}  // namespace ImagingTest
