#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dicom/data_set.h"
#include "dicom/stream.h"
#include "filter/frame_timeline.h"
#include "filter/sample_buffer.h"
#include "raster/bitmap.h"

namespace talv {
inline constexpr char kErrorTitle[] = "Talv DICOM Reader (2.0) Error";
inline constexpr int32_t kLoadOk = 0;
inline constexpr int32_t kLoadRefused = 1;  ///< the success code "false": a refusal is not an error
inline constexpr int32_t kFrameUndecodable = 1;

enum ImageInfoFlags : uint32_t
{
    kImageWindowFromFile = 0x1,
    kImageWindowComputed = 0x2,
    kImageFlagsInitial = 0x14,
};

/// Pull-mode access to a stream held in memory.
class MemoryStreamReader
{
  public:
    void Attach(const uint8_t* bytes, int64_t length);
    void Detach() { Attach(nullptr, 0); }
    int64_t Length() const { return length_; }
    /// Copies up to `count` bytes at `position`; returns the bytes copied, -1 for a negative position or
    /// count.
    int64_t ReadAt(int64_t position, void* buffer, int64_t count) const;

    int64_t position = 0;             ///< of sequential readers
    uint32_t rateLimit = 0xFFFFFFFF;  ///< KB/s; all ones: no limit
    uint32_t attachedAt = 0;          ///< tick count

  private:
    const uint8_t* bytes_ = nullptr;
    int64_t length_ = 0;
};

/// Loads one DICOM file and turns its frames into bottom-up rows. Knows no threads and no media framework;
/// the output pin drives it. `timeline` is the pin's and outlives the source.
///
/// The application's thread calls Load and SetDicomDS, and only while the pin is not connected, so no worker
/// exists then; they take no lock. While a worker exists it alone calls RecomputeFrameTime (holding the pin's
/// seeking lock, since the timeline is written) and ReadFrameIntoSample (with or without it: of the timeline
/// only frameCount is read, which changes in Load and SetDicomDS alone). The other fields change in Load and
/// SetDicomDS only, but for the two counters at the end, which are the worker's.
class FrameSource
{
  public:
    /// Throws std::bad_alloc; so the maker of the component object must catch.
    explicit FrameSource(FrameTimeline* timeline);
    ~FrameSource();
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Application's thread. Loads the file `name` (UTF-16; null is refused silently). Every refusal tells
    /// the user through ShowNotice and answers kLoadRefused. `pinConnected` refuses silently. Nothing is
    /// rolled back on a late refusal.
    int32_t Load(const char16_t* name, bool pinConnected);
    /// Application's thread. Uses `dataSet`, as it is or as a copy; null goes back to an empty data set of
    /// the source's own. A data set used as it is must live until it is replaced or the source ends. The
    /// pointer arrives from automation and only its magic word is checked: callers in the same process are
    /// trusted to pass a readable address. Afterwards frames are undecodable: no Pixel Data element is kept
    /// (see ChoosePixelData).
    int32_t SetDicomDS(DicomDataSet* dataSet, bool copy, bool streamBusy);
    /// Searches the current data set's frame time and applies it to the timeline. Worker thread, under the
    /// seeking lock; before there is one, the application's.
    void RecomputeFrameTime();
    /// Worker thread. Fills `sample` with frame `frameIndex`. Negative: the sample's buffer cannot be had;
    /// kFrameUndecodable: the frame cannot be decoded, is not there, or does not fit, and the sample holds
    /// the last good frame (black before the first), cut to what it has room for; else the result of setting
    /// the sample's length. Every byte of the announced length is written in each case.
    int32_t ReadFrameIntoSample(SampleBuffer* sample, int64_t frameIndex);
    /// Frees the last good frame, which is kept from one ReadFrameIntoSample to the next. For the end of a
    /// worker.
    void ForgetLastFrame();
    /// Bytes of one bottom-up frame: height * stride; 0 when no image is loaded.
    int64_t SampleSize() const;

    FrameTimeline* timeline;
    std::string fileName;  ///< narrow; empty until a load succeeds
    bool fileNameSet = false;
    bool isMpeg2Stream = false;
    DicomDataSet* dataSet = nullptr;
    bool dataSetBound = false;  ///< SetDicomDS has bound a caller's data set; Load is then refused
    bool dataSetCopied = false;
    DicomElement* pixelDataElement = nullptr;
    int32_t width = 0, height = 0;
    uint32_t bitsPerPixel = 0;
    int32_t lowBit = 0, highBit = 0;
    int32_t minPixelValue = 0, maxPixelValue = 0;
    int32_t windowWidth = 0, windowCenter = 0;
    double rescaleIntercept = 0.0, rescaleSlope = 1.0;
    uint32_t imageFlags = 0;
    int64_t frameTime = 0;              ///< 100 ns, as announced in the video format
    std::vector<PaletteEntry> palette;  ///< from the bitmap's lut; its size is the palette count
    PaletteEntry palette8[256];  ///< for output up to 8 bits: the loaded image's palette over a grey ramp
    MemoryStreamReader streamReader;
    uint32_t pixelDataCounter = 0, pixelDataTarget = 0;
    int32_t undecodableFrames = 0;  ///< frames delivered in place of one that could not be decoded
    uint32_t lastRefusal = 0;       ///< DicomStatus of the last refused load or frame, for tools

  private:
    struct State;

    bool OwnsDataSet() const { return !dataSetBound || dataSetCopied; }
    int32_t Refuse(const char* message, uint32_t status);
    int32_t LoadNamed(const char16_t* name, size_t length);
    int32_t LoadDataSetFile(const char16_t* name, size_t length);
    int32_t LoadMpeg2Stream();
    void FreeMpeg2Stream();
    int32_t LoadImageSeries();
    int32_t BindDataSet(DicomDataSet* given, bool copy);
    int32_t DropDataSet();
    DicomStatus TakeImage(DicomDataSet* from, DicomElement* pixelData, uint32_t* flags);
    void TakeWindow(DicomDataSet* from, uint32_t* flags);
    void TakeFrameCount();
    bool DecodeFrame(int64_t frameIndex, uint8_t* buffer);
    uint32_t BlackSample() const;
    int64_t FillWithLastFrame(uint8_t* buffer, int64_t capacity);

    std::unique_ptr<State> state_;
};

/// The Pixel Data element a data set is shown by, and where the walk over all of them stopped.
struct PixelDataChoice
{
    DicomElement* first = nullptr;
    DicomElement* stoppedAt = nullptr;  ///< null when the walk ran off the end
};
/// Finds Pixel Data at the top level, then, with `wholeTree`, anywhere; counts it and its followers in
/// `source->pixelDataCounter` until that equals `source->pixelDataTarget`. The target is 0 and the counter
/// only grows, so the walk counts them all and stops nowhere.
PixelDataChoice ChoosePixelData(FrameSource* source, DicomDataSet* dataSet, bool wholeTree);
/// 0 to 8, as compression kinds; unknown and absent syntaxes are 0.
int32_t GetTransferSyntaxClass(DicomDataSet* dataSet);
/// Searches the frame time in milliseconds; false when the file has none. `origin`, unless it is null,
/// receives the element that decided, null when no element did: one that holds no time decides too.
bool FindFrameTime(DicomDataSet* dataSet, double* milliseconds, DicomElement** origin = nullptr);
}  // namespace talv
