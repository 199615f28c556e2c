#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "image/attribute_reader.h"
#include "image/image_description.h"

namespace talv {
/// Where the bytes of one frame lie.
struct FrameLocation
{
    DicomElement* element = nullptr;             ///< native value, or the first fragment
    uint64_t offset = 0;                         ///< of the frame inside the element's value
    std::span<DicomElement* const> fragments{};  ///< encapsulated: all fragments of the frame; else empty
};

/// The frames of one Pixel Data element. Built once; a frame is then found in constant time.
class FrameIndex
{
  public:
    /// kDicomNoFrame when the element is not Pixel Data or its items are damaged.
    DicomStatus Build(const AttributeReader& reader, DicomElement* pixelElement,
                      const ImageDescription& description);

    uint32_t frameCount() const { return frameCount_; }
    /// False for a frame beyond the last.
    bool Locate(uint32_t frame, FrameLocation* location) const;

  private:
    DicomStatus CollectFragments(DicomElement* pixelElement);
    void JoinFragments(const AttributeReader& reader, int32_t compression);
    bool JoinByOffsets(const std::vector<uint64_t>& offsets);
    bool JoinByEndMarks(DicomDataSet* dataSet, uint32_t declaredFrames);

    DicomElement* native_ = nullptr;        // the Pixel Data element, when its value has a defined length
    DicomElement* offsetTable_ = nullptr;   // first item
    std::vector<DicomElement*> fragments_;  // the items after it
    std::vector<uint32_t>
        firstFragment_;  // of each frame, and the end; empty while one fragment is one frame
    uint32_t frameCount_ = 0;
    uint64_t frameSize_ = 0;
};
}  // namespace talv
