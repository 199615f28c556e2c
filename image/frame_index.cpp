#include "image/frame_index.h"

#include <algorithm>

#include "dicom/reader.h"

namespace talv {
namespace {
constexpr uint32_t kTagNumberOfFrames = 0x00280008;
constexpr uint32_t kTagExtendedOffsets = 0x7FE00001, kTagExtendedLengths = 0x7FE00002;
constexpr uint32_t kItemHeaderBytes = 8;
constexpr uint32_t kSmallestLoneFragment = 4;

/// `count` little-endian numbers of `Number` at the start of a value; fewer when it is shorter.
template <class Number>
std::vector<uint64_t> ReadNumbers(DicomDataSet* dataSet, const DicomElement* element, size_t count)
{
    std::vector<uint8_t> bytes(
        static_cast<size_t>(std::min<uint64_t>(BytesPresent(element), count * sizeof(Number))));
    bytes.resize(dataSet->ReadValueBytes(element, 0, bytes.data(), bytes.size()));
    std::vector<uint64_t> numbers(bytes.size() / sizeof(Number));
    for (size_t i = 0; i < numbers.size(); ++i)
        for (size_t k = 0; k < sizeof(Number); ++k)
            numbers[i] |= uint64_t{bytes[i * sizeof(Number) + k]} << (8 * k);
    return numbers;
}

/// True when the fragment ends with a JPEG or JPEG 2000 end marker (FFD9), padding behind it allowed.
bool EndsWithEndMark(DicomDataSet* dataSet, const DicomElement* fragment)
{
    uint8_t tail[3] = {};  // of a fragment with the mark alone, the last two
    if (fragment->length < 2) return false;
    const uint32_t count = std::min<uint32_t>(fragment->length, sizeof tail);
    if (dataSet->ReadValueBytes(fragment, fragment->length - count, tail + sizeof tail - count, count) !=
        count)
        return false;
    return (tail[1] == 0xFF && tail[2] == 0xD9) || (tail[0] == 0xFF && tail[1] == 0xD9 && tail[2] == 0);
}
}  // namespace

DicomStatus FrameIndex::Build(const AttributeReader& reader, DicomElement* pixelElement,
                              const ImageDescription& description)
{
    if (pixelElement == nullptr || pixelElement->tag != kTagPixelData) return kDicomNoFrame;
    frameSize_ = description.frameSize;
    if (pixelElement->length == kUndefinedLength) {
        if (DicomStatus status = CollectFragments(pixelElement); status != kDicomOk) return status;
        JoinFragments(reader, description.compression);
        return kDicomOk;
    }
    native_ = pixelElement;
    if (description.compression != kCompressionNone)
        frameCount_ = pixelElement->length != 0 ? 1 : 0;
    else if (pixelElement->length != 0)  // a value shorter than one frame is one frame with its end missing
        frameCount_ = static_cast<uint32_t>(std::max<uint64_t>(pixelElement->length / frameSize_, 1));
    return kDicomOk;
}

DicomStatus FrameIndex::CollectFragments(DicomElement* pixelElement)
{
    size_t items = 0;
    for (DicomElement* item = pixelElement->firstChild; item != nullptr; item = item->nextSibling) {
        if (item->tag != kTagItem || item->length == kUndefinedLength) return kDicomNoFrame;
        ++items;
    }
    fragments_.reserve(items);
    for (DicomElement* item = pixelElement->firstChild; item != nullptr; item = item->nextSibling)
        fragments_.push_back(item);

    if (items == 1)  // without an offset table the only item may be the only frame
    {
        if (fragments_[0]->length < kSmallestLoneFragment) fragments_.clear();
    } else if (items > 1) {
        offsetTable_ = fragments_.front();
        fragments_.erase(fragments_.begin());
    }
    frameCount_ = static_cast<uint32_t>(fragments_.size());
    return kDicomOk;
}

// A frame over several fragments is put together only where the file says so: it declares fewer frames than
// it has fragments, and a table, the codec's end marks or the lack of any choice tell where they begin. In
// every other case one fragment is one frame.
void FrameIndex::JoinFragments(const AttributeReader& reader, int32_t compression)
{
    int32_t declared = 0;
    if (!reader.Integer(kTagNumberOfFrames, 0, &declared)) return;
    if (declared <= 0 || static_cast<uint32_t>(declared) >= frameCount_) return;
    const auto frames = static_cast<uint32_t>(declared);
    if (frames == 1) {
        firstFragment_ = {0, frameCount_};
        frameCount_ = 1;
        return;
    }

    DicomDataSet* const dataSet = reader.dataSet();
    if (offsetTable_ != nullptr && offsetTable_->length == uint64_t{frames} * 4 &&
        JoinByOffsets(ReadNumbers<uint32_t>(dataSet, offsetTable_, frames)))
        return;
    const DicomElement* extended = reader.Find(kTagExtendedOffsets);
    const DicomElement* lengths = reader.Find(kTagExtendedLengths);
    if (extended != nullptr && lengths != nullptr && extended->length == uint64_t{frames} * 8 &&
        lengths->length == extended->length &&
        JoinByOffsets(ReadNumbers<uint64_t>(dataSet, extended, frames)))
        return;
    if (compression != kCompressionRle) JoinByEndMarks(dataSet, frames);
}

/// `offsets` count from the first fragment's item header. Joins nothing unless they ascend from 0 and each is
/// the place of an item header.
bool FrameIndex::JoinByOffsets(const std::vector<uint64_t>& offsets)
{
    if (offsets.empty() || offsets.front() != 0) return false;
    std::vector<uint32_t> first;
    first.reserve(offsets.size() + 1);
    uint64_t position = 0;
    for (uint32_t i = 0; i < fragments_.size() && first.size() < offsets.size(); ++i) {
        if (offsets[first.size()] == position) first.push_back(i);
        position += uint64_t{kItemHeaderBytes} + fragments_[i]->length;
    }
    if (first.size() != offsets.size()) return false;
    frameCount_ = static_cast<uint32_t>(first.size());
    first.push_back(static_cast<uint32_t>(fragments_.size()));
    firstFragment_ = std::move(first);
    return true;
}

bool FrameIndex::JoinByEndMarks(DicomDataSet* dataSet, uint32_t declaredFrames)
{
    std::vector<uint32_t> first = {0};
    for (uint32_t i = 0; i < fragments_.size(); ++i)
        if (EndsWithEndMark(dataSet, fragments_[i])) first.push_back(i + 1);
    if (first.size() != size_t{declaredFrames} + 1 || first.back() != fragments_.size()) return false;
    frameCount_ = declaredFrames;
    firstFragment_ = std::move(first);
    return true;
}

bool FrameIndex::Locate(uint32_t frame, FrameLocation* location) const
{
    if (frame >= frameCount_) return false;
    if (native_ != nullptr) {
        *location = {native_, frameSize_ * frame, {}};
        return true;
    }
    const std::span<DicomElement* const> all(fragments_);
    const auto fragments =
        firstFragment_.empty()
            ? all.subspan(frame, 1)
            : all.subspan(firstFragment_[frame], firstFragment_[frame + 1] - firstFragment_[frame]);
    *location = {fragments.front(), 0, fragments};
    return true;
}
}  // namespace talv
