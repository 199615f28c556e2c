#pragma once

#include <dshow.h>

#include <cstdint>
#include <string>
#include <vector>

namespace talv {
/// A frame as it is shown: blue, green, red bytes, last row first, rows padded to 4 bytes.
struct FramePicture
{
    int32_t width = 0, height = 0;
    std::vector<uint8_t> pixels;
};

/// Turns the bytes of one sample of type `type` into a picture: palettes are looked up, grey levels of 12 and
/// 16 bits go through the window of the format block. False for types that are none of the reader's.
bool MakePicture(const AM_MEDIA_TYPE& type, const uint8_t* bytes, size_t size, FramePicture* picture);
/// Header of the picture for the drawing functions and for picture files.
BITMAPINFOHEADER PictureHeader(const FramePicture& picture);
/// Writes a BMP file; false when it cannot be written.
bool WritePicture(const FramePicture& picture, const std::wstring& fileName);
}  // namespace talv
