#pragma once
// Camera frames for tests: pictures with known content, encoded as a webcam would send them.

#include <cstdint>
#include <vector>

namespace CaptureTestFrames {

// A smooth colour picture, 32-bit ARGB (bytes B, G, R, A), rows 4 x width bytes.
std::vector<std::uint8_t> Picture(int width, int height);
// JPEG of a 32-bit ARGB picture, 4:2:2 as webcams send it.
std::vector<std::uint8_t> EncodeJPEG(std::vector<std::uint8_t> const& argb, int width, int height);
// The same JPEG without its Huffman tables (DHT segments), as many webcams send MJPEG.
std::vector<std::uint8_t> StripHuffmanTables(std::vector<std::uint8_t> const& jpeg);
// Mean absolute difference of the colour bytes of two 32-bit pictures.
double MeanDifference(std::uint8_t const* a, int aRowBytes, std::uint8_t const* b, int bRowBytes,
                      int width, int height);
// The centre of a picture in the shape of the new size (never stretched), scaled to it with
// libyuv's bilinear filter: the reference for frames of another size.
std::vector<std::uint8_t> ScaledCentre(std::vector<std::uint8_t> const& argb, int width, int height,
                                       int newWidth, int newHeight);

}  // namespace CaptureTestFrames
