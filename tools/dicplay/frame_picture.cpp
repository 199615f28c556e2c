#include "frame_picture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "filter/directshow/server_ids.h"
#include "filter/greydisplay/grey_display.h"

namespace talv {
namespace {
constexpr size_t kPaletteOffset =
    88;  // of a VIDEOINFO block: after the header of 48 and the bitmap header of 40

size_t Stride(int32_t width, uint32_t bits)
{
    return ((static_cast<size_t>(width) * bits + 31) >> 3) & ~size_t{3};
}

// The entries that the block holds; a one-bit picture without any is black and white.
void ReadPalette(const AM_MEDIA_TYPE& type, uint32_t bits, RGBQUAD palette[256])
{
    const size_t entries = size_t{1} << bits;
    const size_t have =
        type.cbFormat > kPaletteOffset ? (type.cbFormat - kPaletteOffset) / sizeof(RGBQUAD) : 0;
    std::memcpy(palette, type.pbFormat + kPaletteOffset, std::min(entries, have) * sizeof(RGBQUAD));
    const bool empty = std::all_of(palette, palette + entries, [](const RGBQUAD& entry) {
        return entry.rgbRed == 0 && entry.rgbGreen == 0 && entry.rgbBlue == 0;
    });
    if (!empty) return;
    for (size_t i = 0; i < entries; ++i) {
        const auto level = static_cast<BYTE>(255 * i / (entries - 1));
        palette[i] = {level, level, level, 0};
    }
}

// The pixel `x` of a row of 1, 4 or 8 bits, the leftmost in the highest bits.
uint32_t PackedPixel(const uint8_t* row, size_t x, uint32_t bits)
{
    const uint32_t perByte = 8 / bits;
    const uint32_t shift = 8 - bits * (static_cast<uint32_t>(x % perByte) + 1);
    return (row[x / perByte] >> shift) & ((1u << bits) - 1);
}

void ConvertIndexed(const RGBQUAD* palette, uint32_t bits, const uint8_t* row, uint8_t* out, int32_t width)
{
    for (int32_t x = 0; x < width; ++x) {
        const RGBQUAD& entry = palette[PackedPixel(row, static_cast<size_t>(x), bits)];
        *out++ = entry.rgbBlue;
        *out++ = entry.rgbGreen;
        *out++ = entry.rgbRed;
    }
}

// Grey levels of 12 and 16 bits as the grey display shows them.
bool MakeGreyPicture(const AM_MEDIA_TYPE& type, const uint8_t* bytes, size_t size, FramePicture* picture)
{
    GreyDisplay display;
    if (!display.SetBlock(type.pbFormat, type.cbFormat)) return false;
    display.SeeFrame(bytes, size);
    const auto width = static_cast<size_t>(picture->width), height = static_cast<size_t>(picture->height);
    std::vector<uint8_t> pixels(width * height * 4);
    ConvertGreyFrame(*display.Block(), *display.Table(), bytes, size,
                     {pixels.data(), pixels.size(), width * 4, false});
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            std::memcpy(picture->pixels.data() + Stride(picture->width, 24) * y + 3 * x,
                        pixels.data() + 4 * (width * y + x), 3);
    return true;
}

void ConvertColour(uint32_t bits, const uint8_t* row, uint8_t* out, int32_t width)
{
    const size_t step = bits / 8;
    for (int32_t x = 0; x < width; ++x, row += step, out += 3) std::memcpy(out, row, 3);
}
}  // namespace

bool MakePicture(const AM_MEDIA_TYPE& type, const uint8_t* bytes, size_t size, FramePicture* picture)
{
    if (type.formattype != FORMAT_VideoInfo || type.cbFormat < sizeof(VIDEOINFOHEADER)) return false;
    const auto& header = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader;
    const uint32_t bits = header.biBitCount;
    const int32_t width = header.biWidth, height = header.biHeight;
    if (width <= 0 || height <= 0 || size < Stride(width, bits) * static_cast<size_t>(height)) return false;

    picture->width = width;
    picture->height = height;
    picture->pixels.assign(Stride(width, 24) * static_cast<size_t>(height), 0);
    RGBQUAD palette[256] = {};
    if (bits <= 8) ReadPalette(type, bits, palette);
    if (type.subtype == kSubtypeGrey) return MakeGreyPicture(type, bytes, size, picture);
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t* row = bytes + Stride(width, bits) * static_cast<size_t>(y);
        uint8_t* out = picture->pixels.data() + Stride(width, 24) * static_cast<size_t>(y);
        if (bits == 1 || bits == 4 || bits == 8)
            ConvertIndexed(palette, bits, row, out, width);
        else if (bits == 24 || bits == 32)
            ConvertColour(bits, row, out, width);
        else
            return false;
    }
    return true;
}

BITMAPINFOHEADER PictureHeader(const FramePicture& picture)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = picture.width;
    header.biHeight = picture.height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biSizeImage = static_cast<DWORD>(picture.pixels.size());
    return header;
}

bool WritePicture(const FramePicture& picture, const std::wstring& fileName)
{
    const BITMAPINFOHEADER header = PictureHeader(picture);
    uint8_t fileHeader[14] = {'B', 'M'};
    const uint32_t offset = sizeof(fileHeader) + sizeof(header);
    const uint32_t size = offset + header.biSizeImage;
    std::memcpy(fileHeader + 2, &size, 4);
    std::memcpy(fileHeader + 10, &offset, 4);
    FILE* file = _wfopen(fileName.c_str(), L"wb");
    if (file == nullptr) return false;
    bool good = std::fwrite(fileHeader, sizeof(fileHeader), 1, file) == 1 &&
                std::fwrite(&header, sizeof(header), 1, file) == 1 &&
                std::fwrite(picture.pixels.data(), 1, picture.pixels.size(), file) == picture.pixels.size();
    good = std::fclose(file) == 0 && good;
    if (!good) _wremove(fileName.c_str());
    return good;
}
}  // namespace talv
