#include "filter/frame_source.h"

#include <new>
#include <string_view>

#include "dicom/reader.h"
#include "filter/frame_source_state.h"
#include "image/get_image.h"
#include "platform/file.h"
#include "platform/notice.h"
#include "platform/text.h"

namespace talv {
namespace {
constexpr char kNameTooLong[] = "File name exceeds 260 character";
constexpr char kFileNotLoaded[] = "Error loading DICOM file";
constexpr char kFileEmpty[] = "Zero size Dicom file";
constexpr char kNoPixelData[] = "No pixel data available in this Dicom file";
constexpr char kNoImage[] = "Error reading Dicom images";

constexpr double kLentFrameTime = 40.0;  // ms, of a lent data set that has none
}  // namespace

DicomDataSet* NewDataSet()
{
    try {
        return new DicomDataSet(StandardTables());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

FrameSource::FrameSource(FrameTimeline* timelineOfPin)
    : timeline(timelineOfPin), state_(std::make_unique<State>())
{
    for (int i = 0; i < 256; ++i) {
        const auto level = static_cast<uint8_t>(i);
        palette8[i] = {level, level, level, 0};
    }
    dataSet = NewDataSet();
}

FrameSource::~FrameSource()
{
    ForgetLastFrame();
    FreeMpeg2Stream();
    if (OwnsDataSet()) delete dataSet;
}

int64_t FrameSource::SampleSize() const
{
    if (width <= 0 || height <= 0) return 0;
    return static_cast<int64_t>(BytesPerLine(static_cast<uint64_t>(width), bitsPerPixel)) * height;
}

int32_t FrameSource::Refuse(const char* message, uint32_t status)
{
    lastRefusal = status;
    ShowNotice(message, kErrorTitle, kNoticeExclamation);
    return kLoadRefused;
}

// --- a file
// ---------------------------------------------------------------------------------------------------------

int32_t FrameSource::Load(const char16_t* name, bool pinConnected)
{
    if (pinConnected) return kLoadRefused;
    isMpeg2Stream = false;
    if (name == nullptr || dataSetBound) return kLoadRefused;
    try {
        const std::u16string_view wide(name);
        if (wide.size() + 1 > kMaxFileName) return Refuse(kNameTooLong, kDicomInvalidArgument);
        return LoadNamed(name, wide.size());
    } catch (const std::bad_alloc&) {
        return Refuse(kFileNotLoaded, kDicomNoMemory);
    }
}

int32_t FrameSource::LoadNamed(const char16_t* name, size_t length)
{
    if (const int32_t refused = LoadDataSetFile(name, length); refused != kLoadOk) return refused;
    lastRefusal = kDicomOk;
    if (GetTransferSyntaxClass(dataSet) == kCompressionMpeg2) return LoadMpeg2Stream();
    return LoadImageSeries();
}

int32_t FrameSource::LoadDataSetFile(const char16_t* name, size_t length)
{
    const WaitCursor waiting;
    std::string narrow;
    if (!NarrowFromWide({name, length}, &narrow)) return Refuse(kFileNotLoaded, kDicomFileNotOpened);

    pixelDataElement = nullptr;                      // it dies with the elements that the load deletes
    ForgetLastFrame();                               // of another file
    if (dataSet == nullptr) dataSet = NewDataSet();  // memory was short before
    const DicomStatus status =
        dataSet != nullptr ? LoadFile(dataSet, narrow.c_str(), 0) : DicomStatus{kDicomNoMemory};
    if (status != kDicomOk) return Refuse(kFileNotLoaded, status);

    // Kept: asked for only now, so that an error of the loader's comes before this one. Where the open data
    // set keeps others out of the file, its own stream knows the size. Pinned by
    // FrameSourceLoad.EmptyFileIsRefused.
    const File file = File::Open(narrow.c_str(), kFileRead | kFileExclusive);
    const int64_t size = file.IsOpen() ? file.Size() : static_cast<int64_t>(dataSet->fileStream.Size());
    if (size == 0) return Refuse(kFileEmpty, kDicomNotDicom);
    fileName = narrow;
    fileNameSet = true;
    return kLoadOk;
}

int32_t FrameSource::LoadImageSeries()
{
    DicomElement* pixelData = ChoosePixelData(this, dataSet, true).first;
    if (pixelData == nullptr) return Refuse(kNoPixelData, kDicomNoFrame);
    uint32_t flags = kImageFlagsInitial;
    if (const DicomStatus status = TakeImage(dataSet, pixelData, &flags); status != kDicomOk)
        return Refuse(kNoImage, status);
    imageFlags = flags;
    RecomputeFrameTime();
    frameTime = timeline->frameTimeUnits;
    pixelDataElement = pixelData;
    TakeFrameCount();
    return kLoadOk;
}

void FrameSource::RecomputeFrameTime()
{
    double milliseconds = timeline->fileFrameTime;
    const bool found = FindFrameTime(dataSet, &milliseconds);
    timeline->fileFrameTime = milliseconds;
    ApplyFrameTime(timeline, found, milliseconds);
}

// --- a caller's data set
// --------------------------------------------------------------------------------------------

int32_t FrameSource::SetDicomDS(DicomDataSet* given, bool copy, bool streamBusy)
{
    if (streamBusy) return kLoadRefused;
    try {
        if (given == nullptr) return DropDataSet();
        if (given->magic != DicomDataSet::kMagic) return kLoadRefused;
        return BindDataSet(given, copy);
    } catch (const std::bad_alloc&) {
        lastRefusal = kDicomNoMemory;
        return kLoadRefused;
    }
}

int32_t FrameSource::DropDataSet()
{
    // Kept: a data set that the source made itself is let go, not deleted, where one would expect both to be;
    // its address stays good until the source ends. Pinned by
    // FrameSourceDataSet.DroppedDataSetOutlivesTheReset.
    if (!dataSetBound)
        state_->dropped.emplace_back(dataSet);
    else if (dataSetCopied)
        delete dataSet;
    pixelDataElement = nullptr;
    ForgetLastFrame();
    dataSet = NewDataSet();
    dataSetBound = false;
    dataSetCopied = false;
    return kLoadOk;
}

int32_t FrameSource::BindDataSet(DicomDataSet* given, bool copy)
{
    const PixelDataChoice choice = ChoosePixelData(this, given, false);
    if (choice.first == nullptr) return Refuse(kNoPixelData, kDicomNoFrame);
    uint32_t ignoredFlags = 0;
    if (const DicomStatus status = TakeImage(given, choice.first, &ignoredFlags); status != kDicomOk)
        return Refuse(kNoImage, status);

    double milliseconds = kLentFrameTime;
    if (!FindFrameTime(given, &milliseconds)) milliseconds = kLentFrameTime;
    frameTime = timeline->frameTimeUnits = UnitsFromMilliseconds(milliseconds);
    TakeFrameCount();  // Kept: of the data set held so far, where one would expect the given one's

    std::unique_ptr<DicomDataSet> copied;
    if (copy) {
        copied.reset(NewDataSet());
        const DicomStatus status =
            copied != nullptr ? copied->CopyDataSet(given) : DicomStatus{kDicomNoMemory};
        if (status != kDicomOk) {
            lastRefusal = status;
            return kLoadRefused;
        }
    }
    if (OwnsDataSet()) {
        if (dataSet == given)
            state_->dropped.emplace_back(dataSet);  // handed back to us: still ours to delete, but not yet
        else
            delete dataSet;
    }
    // Kept: where the counting walk stopped, which is nowhere; one would expect the element that was just
    // decoded. So no frame of a lent data set can be read. Pinned by
    // FrameSourceDataSet.FramesOfALentDataSetAreUndecodable.
    pixelDataElement = copy ? nullptr : choice.stoppedAt;
    dataSet = copy ? copied.release() : given;
    dataSetBound = true;
    dataSetCopied = copy;
    lastRefusal = kDicomOk;
    return kLoadOk;
}
}  // namespace talv
