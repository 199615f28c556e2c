#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "image/frame_index.h"

namespace talv {
/// One compressed frame, its fragments joined. Kept from frame to frame, it spares the memory calls.
struct EncodedFrame
{
    std::unique_ptr<uint8_t[]> bytes;
    size_t count = 0;
    size_t capacity = 0;
};

/// Bytes of the frame that the stream really holds.
uint64_t FrameBytesPresent(const FrameLocation& location, uint64_t frameSize);

/// Reads the fragments of one frame. Nothing is allocated for bytes that the stream does not hold:
/// kDicomShortRead when it ends before the last fragment does, kDicomNoMemory.
DicomStatus ReadEncodedFrame(DicomDataSet* dataSet, const FrameLocation& location, EncodedFrame* frame);

/// Reads `frameSize` bytes of native pixel data into `target`, in little-endian order; bytes that the value
/// does not hold become zero. kDicomShortRead when the stream gives fewer bytes than it should hold.
DicomStatus ReadNativeFrame(DicomDataSet* dataSet, const FrameLocation& location, uint64_t frameSize,
                            uint8_t* target);
}  // namespace talv
