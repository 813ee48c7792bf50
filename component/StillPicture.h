#pragma once
// The picture a reader of the virtual camera sees while Duoscope is not broadcasting: the
// words "Duoscope is not broadcasting" in white on dark grey, drawn with a small built-in
// font so it needs no font service (it is drawn while the program shuts down).

#include <cstdint>

// Draws into `argb` (32-bit ARGB, rowBytes apart) of width x height pixels.
void DrawNotBroadcastingPicture(std::uint8_t* argb, int width, int height, int rowBytes);
