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
    InverseTask<Sample> tasks[2] = {};
    int count = 0;
    bool low = true;

    /// 64 zeros to put coefficients in, natural order.
    int16_t* Block() { return blocks + 64 * count; }

    /// Sends the block on that `Block` gave. `positions`: all natural positions of its AC coefficients, or-ed
    /// together.
    inline __attribute__((always_inline)) void PushOwn(const JpegKernels& kernels, uint32_t positions,
                                                       const uint16_t* quant, Sample* out, ptrdiff_t stride)
    {
        int16_t* block = Block();
        if (positions == 0) {
            Fill(block[0], quant, out, stride);
            block[0] = 0;
            return;
        }
        Push(kernels, block, (positions & 0x24) == 0, quant, out, stride);
        if (count == 0) Clear();
    }

    /// Sends on a block that stays where it is until the queue is flushed.
    inline __attribute__((always_inline)) void Push(const JpegKernels& kernels, const int16_t* block,
                                                    bool lowOnly, const uint16_t* quant, Sample* out,
                                                    ptrdiff_t stride)
    {
        tasks[count] = {block, quant, out, stride};
        low = low && lowOnly;
        if (++count == 2) Transform(kernels);
    }

    /// Transforms what is waiting.
    void Flush(const JpegKernels& kernels)
    {
        if (count == 0) return;
        Sample spare[64];
        tasks[1] = {tasks[0].block, tasks[0].quant, spare, 8};
        Transform(kernels);
        Clear();
    }

    /// What the transform makes of a DC coefficient alone.
    static void Fill(int16_t dc, const uint16_t* quant, Sample* out, ptrdiff_t stride)
    {
        constexpr int kHalf = sizeof(Sample) == 1 ? 128 : 2048;
        const int scaled = static_cast<int16_t>(dc * quant[0]);
        const auto value = static_cast<Sample>(std::clamp((scaled + 4) >> 3, -kHalf, kHalf - 1) + kHalf);
        for (int y = 0; y < 8; ++y, out += stride) std::fill_n(out, 8, value);
    }

  private:
    // In pieces: the compiler makes of one call an instruction that takes longer than the transform.
    void Clear()
    {
        for (int16_t* part = blocks; part != blocks + 128; part += 32) std::memset(part, 0, 64);
    }

    void Transform(const JpegKernels& kernels)
    {
        if constexpr (sizeof(Sample) == 1)
            kernels.inverse8(tasks, low);
        else
            kernels.inverse12(tasks, low);
        count = 0;
        low = true;
    }
};
}  // namespace talv::jpeg
