#pragma once

#include <cstdint>
#include <vector>

#include "dicom/header_window.h"
#include "dicom/reader.h"
#include "dicom/vr_rules.h"

namespace talv {
/// One attempt to read a stream in the encoding that the data set's mode names. Levels are kept on a stack of
/// its own, so that nesting costs no program stack.
class LevelParser
{
  public:
    LevelParser(DicomDataSet* dataSet, DicomStream* stream, uint64_t start)
        : dataSet_(dataSet), stream_(stream), rules_(dataSet), window_(stream), position_(start)
    {}
    /// Parses the top level and all below it. Throws std::bad_alloc.
    DicomStatus Run();
    /// True when the stream named a transfer syntax of the table, which is that of the attempt then.
    bool HasKnownSyntax() const { return hasKnownSyntax_; }
    /// True when the stream has an element outside the meta group.
    bool IsBehindMeta() const { return isBehindMeta_; }

  private:
    struct Level
    {
        DicomElement* parent = nullptr;  // null at the top level and where content is discarded
        uint32_t parentTag = 0;
        uint16_t parentVr = 0;
        bool isDiscarded = false;  // below a container that the tree refused
        uint32_t expectedLength = kUndefinedLength;
        uint64_t byteCount = 0;
        bool explicitVr = false;
    };

    DicomStatus ReadHeader(ElementHeader* header);
    DicomStatus HandleElement(const ElementHeader& header);
    uint16_t VrOf(const ElementHeader& header, const Level& level);
    DicomStatus Create(const ElementHeader& header, const Level& level, uint16_t vr, bool isContainer,
                       DicomElement** element);
    bool ContradictsAttempt(const ElementHeader& header);
    DicomStatus OpenLevel(const ElementHeader& header, uint16_t vr, DicomElement* element);
    bool HoldsExplicitVr(const ElementHeader& item, const Level& outer);
    DicomStatus TakeValue(const ElementHeader& header, DicomElement* element);
    DicomStatus CheckTransferSyntax(uint32_t length);
    void TakeDirectoryOffset(DicomElement* element, uint32_t length);
    void CloseLevels(bool atDelimiter);

    DicomDataSet* dataSet_;
    DicomStream* stream_;
    VrRules rules_;
    HeaderWindow window_;
    uint64_t position_;
    bool hasKnownSyntax_ = false;
    bool isBehindMeta_ = false;
    std::vector<Level> levels_;
};
}  // namespace talv
