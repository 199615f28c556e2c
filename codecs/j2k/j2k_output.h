#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codecs/codec_workers.h"
#include "codecs/entry_points.h"
#include "codecs/j2k/j2k_tile.h"

namespace talv {
/// How decoded samples of one component become destination samples: scaled, shifted to the destination's
/// precision, offset to be unsigned, limited. Signed components keep their sign (two's complement).
struct J2kSampleRange
{
    int rightShift, leftShift;
    float scale;  ///< of irreversible samples, before `leftShift`
    int32_t offset, low, high;
};

/// Samples of `component` in a destination of `bytes` 1, 2 or 4 per sample. Eight bits take the high bits of
/// deeper components and leave the low bits of shallower ones clear; wider samples keep their values.
J2kSampleRange RangeOfJ2kSamples(const J2KComponent& component, int bytes);

/// Row operations of the output; all variants agree bit for bit.
struct J2kOutputKernels
{
    void (*inverseRct)(int32_t* first, int32_t* second, int32_t* third, size_t count);
    void (*inverseIct)(float* first, float* second, float* third, size_t count);
    void (*convert)(const int32_t* from, int32_t* to, size_t count, const J2kSampleRange& range);
    void (*convertReal)(const float* from, int32_t* to, size_t count, const J2kSampleRange& range);
    void (*pack8)(const int32_t* from, uint8_t* to, size_t count);
    void (*pack16)(const int32_t* from, uint8_t* to, size_t count);
    void (*pack24)(const int32_t* const* planes, uint8_t* to, size_t count);  ///< three planes in turn
};
const J2kOutputKernels& BestJ2kOutputKernels();
const J2kOutputKernels& PlainJ2kOutputKernels();
const J2kOutputKernels& Avx2J2kOutputKernels();

/// The caller's rows.
struct J2KDestination
{
    uint8_t* rows;
    size_t bytesPerLine;
    uint32_t width, height;
    int samples;         ///< per pixel
    int bytesPerSample;  ///< 1, 2 or 4, little endian
};

/// One component as the destination sees it.
struct J2KOutputComponent
{
    uint32_t width, height;
    int precision;  ///< negative for a signed component
};
using J2KComponentList = std::vector<J2KOutputComponent>;

/// Matches the codestream's components with the descriptor's bits per pixel: kCodecOk, or kCodecBadDepth when
/// they do not fit. One component fills all samples of a pixel.
int32_t SetJ2kOutput(void* rows, const J2KFrameDescriptor& descriptor, const J2KComponentList& components,
                     J2KDestination* destination);

/// False when nothing of a tile that is set up lies within the destination. Throws std::bad_alloc.
bool ShowsJ2kTile(const J2KImage& image, const J2kTile& tile, const J2KDestination& destination);

/// Writes a reconstructed tile into the destination, clipped to it. Throws std::bad_alloc.
void WriteJ2kTile(const J2KImage& image, const J2kTile& tile, const J2KDestination& destination,
                  CodecWorkers& workers);
}  // namespace talv
