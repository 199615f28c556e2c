#include "filter/directshow/reader_automation.h"

#include <mutex>

#include "filter/directshow/reader_filter.h"
#include "filter/directshow/task_text.h"
#include "platform/notice.h"

namespace talv {
namespace {
constexpr char kNameTooLong[] = "File name exceeds maximum lenght";
constexpr UINT kMaxNameCharacters = 260;
// The system's code for a file name out of range, as it is and not as a failure: callers see a success code.
constexpr HRESULT kFileNameOutOfRange = ERROR_FILENAME_EXCED_RANGE;
static_assert(kFileNameOutOfRange == 206);

HRESULT ReturnBool(bool value, VARIANT_BOOL* out)
{
    if (out == nullptr) return E_INVALIDARG;
    *out = value ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}
}  // namespace

STDMETHODIMP ReaderAutomation::QueryInterface(REFIID iid, void** out)
{
    return filter_.QueryInterface(iid, out);
}

STDMETHODIMP_(ULONG) ReaderAutomation::AddRef()
{
    return filter_.AddRef();
}

STDMETHODIMP_(ULONG) ReaderAutomation::Release()
{
    return filter_.Release();
}

STDMETHODIMP ReaderAutomation::get_InputFileName(BSTR* out)
{
    if (out == nullptr) return S_FALSE;
    *out = nullptr;
    return Guarded([&] { return ReturnText(WideText(filter_.source.fileName), out); });
}

// Kept: a name of exactly 260 characters passes here and is refused by Load with its own message; one would
// expect one limit. Pinned by Automation.NameLimitsDifferByOne.
STDMETHODIMP ReaderAutomation::put_InputFileName(BSTR fileName)
{
    if (fileName == nullptr) return E_POINTER;
    if (static_cast<UINT>(lstrlenW(fileName)) > kMaxNameCharacters) {
        ShowNotice(kNameTooLong, kErrorTitle, kNoticeExclamation);
        return kFileNameOutOfRange;
    }
    return filter_.Load(fileName, nullptr);
}

STDMETHODIMP ReaderAutomation::get_ConnectionState(LONG* out)
{
    if (out == nullptr) return E_POINTER;
    *out = filter_.ExposedPin().IsConnected() ? 1 : 0;
    return S_OK;
}

STDMETHODIMP ReaderAutomation::get_DicomDS(DataSetPointer* out)
{
    if (out == nullptr) return E_POINTER;
    *out = reinterpret_cast<DataSetPointer>(filter_.source.dataSet);
    return S_OK;
}

STDMETHODIMP ReaderAutomation::get_FrameTime(LONG* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filter_.seekingLock);
    *out = filter_.timeline.settings.userFrameTime;
    return S_OK;
}

STDMETHODIMP ReaderAutomation::put_FrameTime(LONG milliseconds)
{
    filter_.ChangeTimeline([&](FrameTimeline* timeline) { PutFrameTime(timeline, milliseconds); });
    return S_OK;
}

STDMETHODIMP ReaderAutomation::get_FrameControl(VARIANT_BOOL* out)
{
    const std::lock_guard guard(filter_.seekingLock);
    return ReturnBool(filter_.timeline.settings.frameControl != 0, out);
}

STDMETHODIMP ReaderAutomation::put_FrameControl(VARIANT_BOOL on)
{
    filter_.ChangeTimeline([&](FrameTimeline* timeline) { PutFrameControl(timeline, on != VARIANT_FALSE); });
    return S_OK;
}

STDMETHODIMP ReaderAutomation::get_FrameDropping(VARIANT_BOOL* out)
{
    const std::lock_guard guard(filter_.seekingLock);
    return ReturnBool(filter_.timeline.settings.frameDropping != 0, out);
}

STDMETHODIMP ReaderAutomation::put_FrameDropping(VARIANT_BOOL on)
{
    filter_.ChangeTimeline([&](FrameTimeline* timeline) { PutFrameDropping(timeline, on != VARIANT_FALSE); });
    return S_OK;
}

STDMETHODIMP ReaderAutomation::SetDicomDS(DataSetPointer dataSet, VARIANT_BOOL copy)
{
    return Guarded([&] {
        const DefaultArithmetic arithmetic;
        const bool busy = filter_.State() != State_Stopped || filter_.ExposedPin().IsConnected();
        const int32_t result =
            filter_.source.SetDicomDS(reinterpret_cast<DicomDataSet*>(dataSet), copy != VARIANT_FALSE, busy);
        return result == kLoadOk ? S_OK : S_FALSE;
    });
}

STDMETHODIMP ReaderAutomation::get_IsMPEG2Stream(VARIANT_BOOL* out)
{
    return ReturnBool(filter_.source.isMpeg2Stream, out);
}

STDMETHODIMP ReaderAutomation::ResetToDefaults()
{
    filter_.ChangeTimeline([&](FrameTimeline* timeline) { PutSettings(timeline, ReaderSettings{}); });
    return S_OK;
}
}  // namespace talv
