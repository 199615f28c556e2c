#pragma once

#include <algorithm>
#include <cstring>

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
/// Blocks on their way to the inverse transform, which takes two at a time. Blocks without AC coefficients
/// are filled in at once.
template <typename Sample>
struct BlockQueue
{
    alignas(32) int16_t blocks[128] = {};
    Sample* target[2] = {};
    ptrdiff_t stride[2] = {};
    int count = 0;
    bool low = true;

    /// 64 zeros to put coefficients in, natural order.
    int16_t* Block() { return blocks + 64 * count; }

    /// Sends the block on. `positions`: all natural positions of AC coefficients, or-ed together.
    inline __attribute__((always_inline)) void Push(const JpegKernels& kernels, uint32_t positions,
                                                    Sample* out, ptrdiff_t outStride)
    {
        if (positions == 0) {
            Fill(Block()[0], out, outStride);
            Block()[0] = 0;
            return;
        }
        target[count] = out;
        stride[count] = outStride;
        low = low && (positions & 0x24) == 0;
        if (++count == 2) Transform(kernels);
    }

    /// Transforms what is waiting.
    void Flush(const JpegKernels& kernels)
    {
        if (count == 0) return;
        Sample spare[64];
        target[1] = spare;
        stride[1] = 8;
        Transform(kernels);
    }

  private:
    void Transform(const JpegKernels& kernels)
    {
        if constexpr (sizeof(Sample) == 1)
            kernels.inverse8(blocks, target[0], stride[0], target[1], stride[1], low);
        else
            kernels.inverse12(blocks, target[0], stride[0], target[1], stride[1], low);
        std::memset(blocks, 0, sizeof blocks);
        count = 0;
        low = true;
    }

    // What the transform makes of a DC coefficient alone.
    static void Fill(int16_t dc, Sample* out, ptrdiff_t outStride)
    {
        constexpr int kHalf = sizeof(Sample) == 1 ? 128 : 2048;
        const auto value = static_cast<Sample>(std::clamp((dc + 4) >> 3, -kHalf, kHalf - 1) + kHalf);
        for (int y = 0; y < 8; ++y, out += outStride) std::fill_n(out, 8, value);
    }
};
}  // namespace talv::jpeg
