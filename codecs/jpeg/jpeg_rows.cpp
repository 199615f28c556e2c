#include <algorithm>
#include <cstring>

#include "codecs/jpeg/component_rows.h"
#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
namespace {
/// Where one thread widens and narrows rows: see `JpegDecoder::scratch`.
struct Scratch
{
    uint8_t* memory;
    size_t stride;

    template <typename Sample>
    Sample* Row(int index) const
    {
        return reinterpret_cast<Sample*>(memory + static_cast<size_t>(index) * stride);
    }
};

void Widen(const JpegKernels& k, const uint8_t* in, uint8_t* out, int width)
{
    k.widen(in, out, width);
}
void Widen(const JpegKernels&, const uint16_t* in, uint16_t* out, int width)
{
    WidenRow(in, out, width);
}
void WidenBetween(const JpegKernels& k, const uint8_t* near, const uint8_t* far, uint8_t* out, int width)
{
    k.widenBetween(near, far, out, width);
}
void WidenBetween(const JpegKernels&, const uint16_t* near, const uint16_t* far, uint16_t* out, int width)
{
    WidenRowBetween(near, far, out, width);
}

/// Row `y` of a component at the picture's width: in its plane, or widened into its scratch row.
template <typename Sample>
const Sample* FullRow(const JpegDecoder& d, const Scratch& scratch, int index, int y)
{
    const Component& c = d.components[index];
    const bool dct = d.process != Process::lossless;
    const bool halfHigh = dct && 2 * c.v == d.maxV;
    const bool halfWide = dct && 2 * c.h == d.maxH;
    const int row = c.v == d.maxV ? y : y * c.v / d.maxV;
    const Sample* in = PlaneRow<Sample>(d, c, row);
    if (c.h == d.maxH && c.pointTransform == 0 && !halfHigh) return in;
    Sample* out = scratch.Row<Sample>(index);
    const auto other = [&] {
        return PlaneRow<Sample>(d, c, std::clamp(y & 1 ? row + 1 : row - 1, 0, c.height - 1));
    };
    if (halfWide && c.v == d.maxV) {
        Widen(d.kernels, in, out, c.width);
    } else if (halfWide && halfHigh) {
        WidenBetween(d.kernels, in, other(), out, c.width);
    } else if (halfHigh && c.h == d.maxH) {
        MixRows(in, other(), out, c.width, y & 1);
    } else {
        const int width = d.width, factor = c.h, ofAll = d.maxH, shift = c.pointTransform;
        for (int x = 0; x < width; ++x) out[x] = static_cast<Sample>(in[x * factor / ofAll] << shift);
    }
    return out;
}

/// The 8 bits of a row that a destination of 8 bits a sample gets.
const uint8_t* ByteRow(const JpegDecoder&, const Scratch&, const uint8_t* row, int)
{
    return row;
}
const uint8_t* ByteRow(const JpegDecoder& d, const Scratch& scratch, const uint16_t* row, int index)
{
    uint8_t* out = scratch.Row<uint8_t>(kMaxComponents + index);
    const int shift = std::max(0, d.precision - 8);
    const int width = d.width;
    for (int x = 0; x < width; ++x) out[x] = static_cast<uint8_t>(row[x] >> shift);
    return out;
}

template <typename Sample>
void EmitGrey(const JpegDecoder& d, const Scratch& scratch, int y, uint8_t* out)
{
    const Sample* row = FullRow<Sample>(d, scratch, 0, y);
    if (d.bitsPerPixel == 8) {
        std::memcpy(out, ByteRow(d, scratch, row, 0), static_cast<size_t>(d.width));
        return;
    }
    if constexpr (sizeof(Sample) == 2) {
        std::memcpy(out, row, static_cast<size_t>(d.width) * 2);
    } else {
        const int width = d.width;
        for (int x = 0; x < width; ++x) {
            out[2 * x] = row[x];
            out[2 * x + 1] = 0;
        }
    }
}

template <typename Sample>
void EmitColour(const JpegDecoder& d, const Scratch& scratch, int y, uint8_t* out)
{
    const Sample* rows[3];
    for (int i = 0; i < 3; ++i) rows[i] = FullRow<Sample>(d, scratch, i, y);
    if (d.rgb || d.process == Process::lossless) {
        const uint8_t* bytes[3];
        for (int i = 0; i < 3; ++i) bytes[i] = ByteRow(d, scratch, rows[i], i);
        d.kernels.planesToBgr(bytes[0], bytes[1], bytes[2], out, d.width);
    } else if constexpr (sizeof(Sample) == 1) {
        d.kernels.yccToBgr(rows[0], rows[1], rows[2], out, d.width);
    } else {
        YccRowToBgr<12>(rows[0], rows[1], rows[2], out, d.width);
    }
}

template <typename Sample>
void EmitFour(const JpegDecoder& d, const Scratch& scratch, int y, uint8_t* out)
{
    const int width = d.width;
    for (int i = 0; i < 4; ++i) {
        const uint8_t* row = ByteRow(d, scratch, FullRow<Sample>(d, scratch, i, y), i);
        for (int x = 0; x < width; ++x) out[4 * x + i] = row[x];
    }
}

template <typename Sample>
void EmitRow(const JpegDecoder& d, const Scratch& scratch, int y, uint8_t* out)
{
    switch (d.componentCount) {
        case 1:
            return EmitGrey<Sample>(d, scratch, y, out);
        case 3:
            return EmitColour<Sample>(d, scratch, y, out);
        default:
            return EmitFour<Sample>(d, scratch, y, out);
    }
}
}  // namespace

void EmitRowRange(const JpegDecoder& d, int thread, int32_t begin, int32_t end)
{
    const Scratch scratch = {d.scratch.get() + d.scratchStride * kScratchRows * static_cast<size_t>(thread),
                             d.scratchStride};
    for (int32_t y = begin; y < end; ++y) {
        if (d.WideSamples())
            EmitRow<uint16_t>(d, scratch, y, d.rows.At(y));
        else
            EmitRow<uint8_t>(d, scratch, y, d.rows.At(y));
    }
}

void EmitRows(JpegDecoder* d, int32_t end)
{
    end = std::min({end, d->height, d->rows.count});
    EmitRowRange(*d, 0, d->emittedRows, end);
    d->emittedRows = std::max(d->emittedRows, end);
}
}  // namespace talv::jpeg
