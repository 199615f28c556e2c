#pragma once

#include <cstdint>
#include <optional>

#include "dicom/data_set.h"

namespace talv {
/// The VRs that the stream does not tell.
class VrRules
{
  public:
    explicit VrRules(DicomDataSet* dataSet) : dataSet_(dataSet) {}
    /// VR of an item below a parent with this VR (0: no parent).
    static uint16_t OfItem(uint16_t parentVr);
    /// VR of any other element in the level below `parent` (null: the top level).
    uint16_t OfElement(DicomElement* parent, uint32_t tag);
    /// To be called when the data set gets its Transfer Syntax UID.
    void NoteTransferSyntax() { ofPixelData_.reset(); }

  private:
    uint16_t OfPixelData();
    bool ReadWord(DicomElement* parent, uint32_t tag, uint16_t* value);
    DicomDataSet* dataSet_;
    std::optional<uint16_t> ofPixelData_;  // remembered: there may be a million Pixel Data elements
};
}  // namespace talv
