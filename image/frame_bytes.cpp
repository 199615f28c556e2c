#include "image/frame_bytes.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "image/image_kernels.h"

namespace talv {
namespace {
constexpr uint16_t kVrOb = MakeVr('O', 'B');

/// Reads the native bytes `offset` .. `offset` + `count`; false when the stream gives fewer.
bool ReadNativeBytes(DicomDataSet* dataSet, const FrameLocation& location, uint64_t offset, uint8_t* target,
                     size_t count)
{
    if (location.fragments.empty())
        return dataSet->ReadValueBytes(location.element, offset, target, count) == count;
    for (const DicomElement* fragment : location.fragments) {
        const uint64_t present = BytesPresent(fragment);
        if (offset >= present) {
            offset -= present;
            continue;
        }
        const auto part = static_cast<size_t>(std::min<uint64_t>(present - offset, count));
        if (dataSet->ReadValueBytes(fragment, offset, target, part) != part) return false;
        target += part;
        count -= part;
        offset = 0;
        if (count == 0) break;
    }
    return count == 0;
}

uint64_t ValueBytesPresent(const FrameLocation& location)
{
    if (location.fragments.empty()) return BytesPresent(location.element);
    uint64_t present = 0;
    for (const DicomElement* fragment : location.fragments) present += BytesPresent(fragment);
    return present;
}

/// Pixel data of a big-endian data set that was stored as words.
bool HasSwappedWords(const DicomDataSet& dataSet, const FrameLocation& location)
{
    const DicomElement* pixelData = location.fragments.empty() ? location.element : location.element->parent;
    return (dataSet.mode & kModeBigEndian) != 0 && pixelData != nullptr && pixelData->storedVr != kVrOb;
}
}  // namespace

uint64_t FrameBytesPresent(const FrameLocation& location, uint64_t frameSize)
{
    const uint64_t present = ValueBytesPresent(location);
    return present <= location.offset ? 0 : std::min(present - location.offset, frameSize);
}

DicomStatus ReadEncodedFrame(DicomDataSet* dataSet, const FrameLocation& location, EncodedFrame* frame)
{
    const std::span<DicomElement* const> fragments =
        location.fragments.empty() ? std::span<DicomElement* const>(&location.element, 1)
                                   : location.fragments;
    uint64_t total = 0;
    for (const DicomElement* fragment : fragments) {
        if (BytesPresent(fragment) != fragment->length) return kDicomShortRead;
        total += fragment->length;
    }
    if (total > UINT32_MAX || total > SIZE_MAX) return kDicomNoMemory;
    frame->count = static_cast<size_t>(total);
    if (frame->bytes == nullptr || frame->capacity < frame->count) {
        frame->bytes.reset(new (std::nothrow) uint8_t[frame->count]);
        frame->capacity = frame->bytes != nullptr ? frame->count : 0;
        if (frame->bytes == nullptr) return kDicomNoMemory;
    }

    uint8_t* target = frame->bytes.get();
    for (const DicomElement* fragment : fragments) {
        if (dataSet->ReadValueBytes(fragment, 0, target, fragment->length) != fragment->length)
            return kDicomShortRead;
        target += fragment->length;
    }
    return kDicomOk;
}

DicomStatus ReadNativeFrame(DicomDataSet* dataSet, const FrameLocation& location, uint64_t frameSize,
                            uint8_t* target)
{
    const auto present = static_cast<size_t>(FrameBytesPresent(location, frameSize));
    std::memset(target + present, 0, static_cast<size_t>(frameSize) - present);
    if (!HasSwappedWords(*dataSet, location))
        return ReadNativeBytes(dataSet, location, location.offset, target, present) ? kDicomOk
                                                                                    : kDicomShortRead;

    if (location.offset % 2 == 0 && present % 2 == 0) {
        if (!ReadNativeBytes(dataSet, location, location.offset, target, present)) return kDicomShortRead;
        BestImageKernels().swapWords(target, present / 2);
        return kDicomOk;
    }
    // A frame of odd size begins or ends inside a word: read whole words around it.
    const uint64_t start = location.offset & ~uint64_t{1};
    const uint64_t end =
        std::min((location.offset + present + 1) & ~uint64_t{1}, ValueBytesPresent(location));
    std::vector<uint8_t> words(static_cast<size_t>(end - start + 1));
    if (!ReadNativeBytes(dataSet, location, start, words.data(), static_cast<size_t>(end - start)))
        return kDicomShortRead;
    BestImageKernels().swapWords(words.data(), words.size() / 2);
    std::memcpy(target, words.data() + (location.offset - start), present);
    return kDicomOk;
}
}  // namespace talv
