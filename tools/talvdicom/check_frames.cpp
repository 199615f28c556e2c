#include <algorithm>

#include "dicom/reader.h"
#include "image/frame_bytes.h"
#include "tools/talvdicom/codestream.h"
#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/findings.h"

namespace talv {
namespace {
constexpr uint32_t kTagNumberOfFrames = 0x00280008, kTagPhotometric = 0x00280004;
constexpr uint32_t kTagExtendedOffsets = 0x7FE00001;
constexpr uint64_t kItemHeaderBytes = 8;

class FrameChecks
{
  public:
    FrameChecks(OpenedFile* opened, Findings* findings)
        : opened_(opened),
          map_(opened->Frames()),
          pixels_(opened->source.pixelDataElement),
          findings_(findings)
    {}
    void Counts();
    void Native();
    void Fragments();
    void Offsets();
    void Label();

  private:
    void Add(Grade grade, const std::string& where, const std::string& what)
    {
        findings_->push_back({grade, where, what});
    }
    bool Encapsulated() const { return pixels_->length == kUndefinedLength; }
    void JpegLabel(const Codestream& stream);
    void ColourLabel(const Codestream& stream);

    OpenedFile* opened_;
    const FrameMap& map_;
    DicomElement* pixels_;
    Findings* findings_;
};

void FrameChecks::Counts()
{
    DicomDataSet* const dataSet = opened_->source.dataSet;
    DicomElement* const element = dataSet->FindFirstElement(nullptr, kTagNumberOfFrames, true);
    const int64_t found = map_.Found(), declared = opened_->timeline.frameCount;
    const std::string where = TagWords(kTagNumberOfFrames);
    int32_t value = 0;
    if (element == nullptr || !dataSet->GetInteger(element, 0, &value)) {
        const Codestream first = ReadCodestream(dataSet, map_, 0);
        const bool hasMarks =
            first.coding == Codestream::Coding::jpeg || first.coding == Codestream::Coding::jpeg2000;
        if (found > 1 && hasMarks && !first.endsWithMark)
            Add(Grade::warning, where,
                "no Number of Frames, and " + std::to_string(found) +
                    " fragments that may be one frame: the first alone is decoded");
        else if (found > 1)
            Add(Grade::warning, where,
                "no Number of Frames, although " + std::to_string(found) + " are there: one plays");
    } else if (declared < 1) {
        Add(Grade::warning, where, std::to_string(declared) + " frames declared: one plays");
    } else if (declared > found) {
        Add(Grade::error, where,
            std::to_string(declared) + " frames declared, " + std::to_string(found) +
                " found: the last one stands still");
    } else if (declared < found) {
        Add(Grade::warning, where,
            std::to_string(declared) + " frames declared, " + std::to_string(found) +
                " found: the rest is not played");
    }
    const int64_t whole = map_.Whole();
    if (whole < found)
        Add(Grade::error, TagWords(kTagPixelData),
            std::to_string(found - whole) + " of " + std::to_string(found) +
                (found > 1 ? " frames" : " frame") + (found - whole > 1 ? " are" : " is") + " not whole");
}

void FrameChecks::Native()
{
    const ImageDescription& description = map_.Description();
    if (Encapsulated()) {
        if (description.compression == kCompressionNone)
            Add(Grade::error, TagWords(kTagPixelData),
                "fragments, although the transfer syntax is uncompressed");
        return;
    }
    if (description.compression != kCompressionNone) {
        Add(Grade::warning, TagWords(kTagPixelData), "compressed, but not in fragments: taken as one frame");
        return;
    }
    const uint64_t stray = description.frameSize > 0 ? pixels_->length % description.frameSize : 0;
    if (pixels_->length > description.frameSize && stray > 1)
        Add(Grade::note, TagWords(kTagPixelData),
            std::to_string(stray) + " bytes behind the last whole frame");
    if (pixels_->storedVr == MakeVr('O', 'B') && description.bitsAllocated > 8 &&
        (opened_->source.dataSet->mode & kModeBigEndian) != 0)
        Add(Grade::note, TagWords(kTagPixelData),
            "VR OB for samples of more than 8 bits in a big-endian file");
}

void FrameChecks::Fragments()
{
    if (!Encapsulated()) return;
    int64_t split = 0, empty = 0, number = 0;
    for (int64_t frame = 0; frame < map_.Found(); ++frame) {
        FrameLocation location;
        if (map_.Locate(frame, &location) && location.fragments.size() > 1) ++split;
    }
    for (const DicomElement* item = pixels_->firstChild; item != nullptr; item = item->nextSibling, ++number)
        if (number > 0 && item->length == 0) ++empty;
    if (split > 0)
        Add(Grade::note, TagWords(kTagPixelData),
            std::to_string(split) + " frames lie in more than one fragment");
    if (empty > 0)
        Add(Grade::warning, TagWords(kTagPixelData), std::to_string(empty) + " fragments are empty");
}

/// The offsets that the basic offset table holds against the places of the frames (PS3.5 A.4).
void FrameChecks::Offsets()
{
    const DicomElement* const table = Encapsulated() ? pixels_->firstChild : nullptr;
    DicomDataSet* const dataSet = opened_->source.dataSet;
    if (table == nullptr || table->nextSibling == nullptr || table->length == 0) {
        if (Encapsulated() && dataSet->FindFirstElement(nullptr, kTagExtendedOffsets, true) != nullptr)
            Add(Grade::note, TagWords(kTagExtendedOffsets), "frames are placed by an extended offset table");
        return;
    }
    const uint64_t start = table->nextSibling->valuePosition - kItemHeaderBytes;
    const std::string where = "offset table at byte " + std::to_string(table->valuePosition);
    if (table->length != static_cast<uint64_t>(map_.Found()) * 4) {
        Add(Grade::warning, where,
            "holds " + std::to_string(table->length / 4) + " offsets for " + std::to_string(map_.Found()) +
                " frames");
        return;
    }
    for (int64_t frame = 0; frame < map_.Found(); ++frame) {
        uint8_t bytes[4] = {};
        dataSet->ReadValueBytes(table, static_cast<uint64_t>(frame) * 4, bytes, sizeof bytes);
        const uint64_t offset = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | uint64_t{bytes[3]} << 24;
        const uint64_t real = static_cast<uint64_t>(map_.FilePosition(frame)) - kItemHeaderBytes - start;
        if (offset == (real & UINT32_MAX)) continue;
        Add(Grade::warning, where,
            FrameWords(frame) + " is at " + std::to_string(real) + ", the table says " +
                std::to_string(offset));
        return;
    }
}

void FrameChecks::JpegLabel(const Codestream& stream)
{
    const std::string uid = TagText(opened_->source.dataSet, kTagTransferSyntaxUid);
    const bool lossyLabel = map_.Description().compression == kCompressionJpegLossy;
    if (stream.coding == Codestream::Coding::jpeg) {
        if (lossyLabel == stream.lossless)
            Add(Grade::warning, TagWords(kTagTransferSyntaxUid),
                TransferSyntaxName(uid) + " holds JPEG " + stream.process);
        else if (uid == "1.2.840.10008.1.2.4.50" && stream.process != "baseline")
            Add(Grade::note, TagWords(kTagTransferSyntaxUid),
                TransferSyntaxName(uid) + " holds JPEG " + stream.process);
    }
    const auto stored = static_cast<int32_t>(map_.Description().bitsStored);
    if (stream.precision != stored && stream.precision > 0)
        Add(stream.precision > stored ? Grade::warning : Grade::note, FrameWords(0),
            "coded with " + std::to_string(stream.precision) + " bits, " + std::to_string(stored) +
                " are declared");
}

void FrameChecks::ColourLabel(const Codestream& stream)
{
    const ImageDescription& description = map_.Description();
    const bool ybr = description.photometricCode >= kYbrFull422 && description.photometricCode <= kYbrIct;
    const std::string label = std::string("labelled ") + description.photometricText;
    const std::string where = TagWords(kTagPhotometric);
    const bool jpeg2000 = stream.coding == Codestream::Coding::jpeg2000;
    if (stream.components != static_cast<int32_t>(description.samplesPerPixel)) {
        Add(Grade::warning, where,
            label + " with " + std::to_string(description.samplesPerPixel) + " samples, coded with " +
                std::to_string(stream.components) + " components");
        return;
    }
    if (stream.components != 3) return;
    if (!jpeg2000 && ybr && stream.isRgb)
        Add(Grade::warning, where, label + ", but shown as RGB: " + stream.reason);
    else if (!jpeg2000 && !ybr && !stream.isRgb)
        Add(Grade::warning, where, label + ", but shown as YCbCr: " + stream.reason);
    else if (jpeg2000 && ybr && stream.isRgb)
        Add(Grade::warning, where, label + ", but the codestream is " + stream.reason + ": shown as RGB");
    else if (jpeg2000 && description.photometricCode == kYbrRct && !stream.lossless)
        Add(Grade::note, where, label + ", but the codestream is irreversible");
    else if (jpeg2000 && description.photometricCode == kYbrIct && stream.lossless)
        Add(Grade::note, where, label + ", but the codestream is reversible");
    else if (jpeg2000 && !ybr && !stream.isRgb)
        Add(Grade::note, where, label + ", but coded " + stream.reason);
}

void FrameChecks::Label()
{
    const ImageDescription& description = map_.Description();
    if (description.compression == kCompressionNone || map_.Found() == 0) return;
    const Codestream stream = ReadCodestream(opened_->source.dataSet, map_, 0);
    if (stream.coding == Codestream::Coding::unknown) {
        Add(Grade::error, FrameWords(0), "no stream of the kind that the transfer syntax names");
        return;
    }
    if (stream.coding == Codestream::Coding::rle) {
        const auto wanted =
            static_cast<int32_t>(description.samplesPerPixel * ((description.bitsAllocated + 7) / 8));
        if (stream.rleSegments != wanted)
            Add(Grade::warning, FrameWords(0),
                std::to_string(stream.rleSegments) + " RLE segments instead of " + std::to_string(wanted));
        if (wanted > 3)
            Add(Grade::error, FrameWords(0),
                "of " + std::to_string(wanted) + " RLE segments only 3 are decoded");
        if (description.outputBits == 16)
            Add(Grade::note, FrameWords(0),
                "16-bit RLE grey is handed on with its bytes as the segments order them; pictures of this "
                "tool swap them");
        return;
    }
    const auto columns = static_cast<int32_t>(description.columns),
               rows = static_cast<int32_t>(description.rows);
    if (stream.width != columns || (stream.height != rows && stream.height != 0))
        Add(Grade::warning, FrameWords(0),
            "coded as " + std::to_string(stream.width) + " x " + std::to_string(stream.height) +
                ", declared as " + std::to_string(columns) + " x " + std::to_string(rows));
    if (!stream.endsWithMark) Add(Grade::note, FrameWords(0), "its stream has no end marker");
    JpegLabel(stream);
    ColourLabel(stream);
}
}  // namespace

void CheckFrames(OpenedFile* opened, Findings* findings)
{
    FrameChecks checks(opened, findings);
    checks.Counts();
    checks.Native();
    checks.Fragments();
    checks.Offsets();
    checks.Label();
}
}  // namespace talv
