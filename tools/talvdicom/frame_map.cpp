#include "tools/talvdicom/frame_map.h"

#include <algorithm>

#include "dicom/reader.h"
#include "image/frame_bytes.h"
#include "image/pixel_layout.h"

namespace talv {
DicomStatus FrameMap::Build(DicomDataSet* dataSet, DicomElement* pixelElement)
{
    const DicomStatus status = ReadImageDescription(dataSet, pixelElement, &description_, 0, true);
    if (status != kDicomOk) return status;
    return index_.Build(AttributeReader(dataSet, pixelElement), pixelElement, description_);
}

bool FrameMap::Locate(int64_t frame, FrameLocation* location) const
{
    return frame >= 0 && frame < Found() && index_.Locate(static_cast<uint32_t>(frame), location);
}

bool FrameMap::IsWhole(int64_t frame) const
{
    FrameLocation location;
    if (!Locate(frame, &location)) return false;
    if (location.fragments.empty()) {
        uint64_t wanted = location.element->length;
        if (description_.compression == kCompressionNone) {
            wanted = description_.frameSize;
            // Packed samples of 12 bits take less room than the frame size that places the frames.
            const PixelLayout layout = MakePixelLayout(description_);
            if (layout.pixelStride == 0)
                wanted = std::min<uint64_t>(wanted, uint64_t{layout.rowStride} * layout.rows);
        }
        return wanted > 0 && FrameBytesPresent(location, wanted) == wanted;
    }
    uint64_t wanted = 0;
    for (const DicomElement* fragment : location.fragments) wanted += fragment->length;
    return wanted > 0 && FrameBytesPresent(location, UINT64_MAX) == wanted;
}

int64_t FrameMap::Whole() const
{
    int64_t whole = 0;
    for (int64_t frame = 0; frame < Found(); ++frame) whole += IsWhole(frame) ? 1 : 0;
    return whole;
}

int64_t FrameMap::FilePosition(int64_t frame) const
{
    FrameLocation location;
    if (!Locate(frame, &location)) return -1;
    return static_cast<int64_t>(location.element->valuePosition + location.offset);
}
}  // namespace talv
