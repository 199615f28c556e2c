#include <algorithm>
#include <cstdlib>

#include "codecs/jpeg/jpeg_encoder.h"

namespace talv::jpeg {
namespace {
/// One pixel of any source layout; grey ones have it in the first member.
struct Pixel
{
    int a = 0, b = 0, c = 0, d = 0;  // red, green, blue and the fourth byte; or Y, Cb, Cr
};

Pixel ReadPixel(const uint8_t* row, int x, const BitmapHeader& header)
{
    if (IsPacked422(header)) {
        const uint8_t* pair = row + (x / 2) * 4;
        const int luma = header.compression == kCompressionUyvy ? 1 : 0;
        return {pair[luma + 2 * (x & 1)], pair[1 - luma], pair[3 - luma], 0};
    }
    switch (header.bitsPerPixel) {
        case 8:
            return {row[x]};
        case 12: {
            const uint8_t* pair = row + (x / 2) * 3;
            return {(x & 1) == 0 ? pair[0] | (pair[1] & 15) << 8 : pair[1] >> 4 | pair[2] << 4};
        }
        case 16:
            return {row[2 * x] | row[2 * x + 1] << 8};
        case 24:
            return {row[3 * x + 2], row[3 * x + 1], row[3 * x]};
        default:
            return {row[4 * x + 2], row[4 * x + 1], row[4 * x], row[4 * x + 3]};
    }
}

uint8_t ToByte(double value)
{
    return static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
}

double Luma(const Pixel& p)
{
    return 0.299 * p.a + 0.587 * p.b + 0.114 * p.c;
}

/// The components of a colour mode out of a source pixel.
void ConvertPixel(const Pixel& p, const BitmapHeader& header, int mode, int values[4])
{
    const bool grey = header.bitsPerPixel <= 16 && !IsPacked422(header);
    const bool ycc = IsPacked422(header);
    const Pixel rgb = grey  ? Pixel{p.a, p.a, p.a, 0}
                      : ycc ? Pixel{ToByte(p.a + 1.402 * (p.c - 128)),
                                    ToByte(p.a - 0.344136 * (p.b - 128) - 0.714136 * (p.c - 128)),
                                    ToByte(p.a + 1.772 * (p.b - 128)), 0}
                            : p;
    switch (mode) {
        case 0:
        case 11:
            values[0] = grey || ycc ? p.a : ToByte(Luma(p));
            break;
        case 8:
            values[0] = rgb.a;
            break;
        case 9:
            values[0] = rgb.b;
            break;
        case 10:
            values[0] = rgb.c;
            break;
        case 7:  // stored order
            values[0] = rgb.c;
            values[1] = rgb.b;
            values[2] = rgb.a;
            values[3] = p.d;
            break;
        case 12:
            values[0] = rgb.a;
            values[1] = rgb.b;
            values[2] = rgb.c;
            break;
        default:
            values[0] = ycc ? p.a : ToByte(Luma(rgb));
            values[1] = ycc ? p.b : ToByte(128 + (rgb.c - Luma(rgb)) / 1.772);
            values[2] = ycc ? p.c : ToByte(128 + (rgb.a - Luma(rgb)) / 1.402);
    }
}

/// Source rows in the order of the picture.
RowTable SourceRows(const uint8_t* source, const BitmapHeader& header)
{
    const bool topFirst = IsPacked422(header) || header.compression == kCompressionTgry;
    const int64_t bits =
        static_cast<int64_t>(header.width) * (IsPacked422(header) ? 16 : header.bitsPerPixel);
    const auto stride = static_cast<ptrdiff_t>((bits + 31) / 32 * 4);
    auto* first = const_cast<uint8_t*>(source);  // only ever read
    const int count = std::abs(header.height);
    // Kept: a positive height means top-down for the packed and grey-scale layouts and bottom-up for all
    // others. Pinned by JpegEncoder.PositiveHeightMeansTopDownForPackedSourcesOnly.
    if ((header.height > 0) == topFirst) return {first, stride, count};
    return {first + (count - 1) * stride, -stride, count};
}

void FillField(const RowTable& rows, const BitmapHeader& header, int mode, int field, EncoderPicture* picture)
{
    std::vector<EncoderPlane>& planes = picture->planes[field];
    int maxH = 1, maxV = 1;
    for (const EncoderPlane& p : planes) {
        maxH = std::max(maxH, p.h);
        maxV = std::max(maxV, p.v);
    }
    const int unit = picture->lossless ? 1 : 8;
    const int dropped = header.bitsPerPixel == 12 && picture->precision == 8 ? 4 : 0;
    const int width = picture->mcusAcross * maxH * unit;
    const int height = picture->mcuRows * maxV * unit;
    std::vector<uint32_t> sums(planes.size() * static_cast<size_t>(width));
    for (size_t i = 0; i < planes.size(); ++i) {
        planes[i].stride = width * planes[i].h / maxH;
        planes[i].samples.resize(static_cast<size_t>(planes[i].stride) *
                                 static_cast<size_t>(height * planes[i].v / maxV));
    }
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = rows.At(std::min(y * picture->fields + field, rows.count - 1));
        for (int x = 0; x < width; ++x) {
            int values[4] = {};
            Pixel pixel = ReadPixel(row, std::min(x, picture->width - 1), header);
            pixel.a >>= dropped;
            ConvertPixel(pixel, header, mode, values);
            for (size_t i = 0; i < planes.size(); ++i)
                sums[i * static_cast<size_t>(width) + static_cast<size_t>(x * planes[i].h / maxH)] +=
                    static_cast<uint32_t>(values[i]);
        }
        for (size_t i = 0; i < planes.size(); ++i) {
            EncoderPlane& plane = planes[i];
            if ((y + 1) % (maxV / plane.v) != 0) continue;
            const uint32_t area = static_cast<uint32_t>(maxH / plane.h * (maxV / plane.v));
            uint16_t* out =
                &plane.samples[static_cast<size_t>(y * plane.v / maxV) * static_cast<size_t>(plane.stride)];
            for (int x = 0; x < plane.stride; ++x) {
                uint32_t& sum = sums[i * static_cast<size_t>(width) + static_cast<size_t>(x)];
                out[x] = static_cast<uint16_t>((sum + area / 2) / area);
                sum = 0;
            }
        }
    }
}
}  // namespace

void FillPicture(const uint8_t* source, const BitmapHeader& header, int mode, EncoderPicture* picture)
{
    static constexpr uint8_t kFactors[7] = {0x11, 0x11, 0x21, 0x12, 0x22, 0x41, 0x42};
    const RowTable rows = SourceRows(source, header);
    const int factors = mode < 7 && !picture->lossless ? kFactors[mode] : 0x11;
    const int count = mode == 0 || (mode >= 8 && mode <= 11) ? 1 : mode == 7 ? 4 : 3;
    const int unit = picture->lossless ? 1 : 8;
    const int maxH = count > 1 ? factors >> 4 : 1;
    const int maxV = count > 1 ? factors & 15 : 1;
    picture->width = header.width;
    picture->height = (rows.count + picture->fields - 1) / picture->fields;
    picture->rgb = mode == 12 || (picture->lossless && count == 3);
    picture->mcusAcross = (picture->width + unit * maxH - 1) / (unit * maxH);
    picture->mcuRows = (picture->height + unit * maxV - 1) / (unit * maxV);
    for (int field = 0; field < picture->fields; ++field) {
        picture->planes[field].resize(static_cast<size_t>(count));
        picture->planes[field][0].h = maxH;
        picture->planes[field][0].v = maxV;
        FillField(rows, header, picture->rgb ? 12 : mode, field, picture);
    }
}
}  // namespace talv::jpeg
