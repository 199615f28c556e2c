// IMediaSeeking of the video pin: argument checks, the seeking lock, and the timeline's answer.
#include <mutex>

#include "filter/directshow/dicom_output_pin.h"
#include "filter/directshow/reader_filter.h"

namespace talv {
namespace {
constexpr DWORD kSeekingCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                       AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetCurrentPos |
                                       AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;
static_assert(kSeekingCapabilities == 63);

bool ToTimeFormat(const GUID& guid, TimeFormat* format)
{
    if (guid == TIME_FORMAT_FRAME)
        *format = TimeFormat::frame;
    else if (guid == TIME_FORMAT_MEDIA_TIME)
        *format = TimeFormat::mediaTime;
    else
        return false;
    return true;
}
}  // namespace

STDMETHODIMP DicomOutputPin::GetCapabilities(DWORD* out)
{
    if (out == nullptr) return E_POINTER;
    *out = kSeekingCapabilities;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::CheckCapabilities(DWORD* capabilities)
{
    if (capabilities == nullptr) return E_POINTER;
    if (*capabilities == kSeekingCapabilities) return S_OK;
    *capabilities &= kSeekingCapabilities;
    return S_FALSE;
}

STDMETHODIMP DicomOutputPin::IsFormatSupported(const GUID* format)
{
    if (format == nullptr) return E_POINTER;
    TimeFormat ignored;
    return ToTimeFormat(*format, &ignored) ? S_OK : S_FALSE;
}

STDMETHODIMP DicomOutputPin::QueryPreferredFormat(GUID* out)
{
    if (out == nullptr) return E_POINTER;
    *out = TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::GetTimeFormat(GUID* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filter_.seekingLock);
    *out = filter_.timeline.timeFormat == TimeFormat::frame ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::IsUsingTimeFormat(const GUID* format)
{
    if (format == nullptr) return E_POINTER;
    GUID current;
    GetTimeFormat(&current);
    return *format == current ? S_OK : S_FALSE;
}

STDMETHODIMP DicomOutputPin::SetTimeFormat(const GUID* format)
{
    if (format == nullptr) return E_POINTER;
    TimeFormat wanted;
    if (!ToTimeFormat(*format, &wanted)) return S_FALSE;
    const std::lock_guard guard(filter_.seekingLock);
    filter_.timeline.timeFormat = wanted;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::GetDuration(LONGLONG* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filter_.seekingLock);
    *out = talv::GetDuration(filter_.timeline);
    return S_OK;
}

STDMETHODIMP DicomOutputPin::GetPositions(LONGLONG* current, LONGLONG* stop)
{
    int64_t currentNow = 0, stopNow = 0;
    {
        const std::lock_guard guard(filter_.seekingLock);
        talv::GetPositions(filter_.timeline, &currentNow, &stopNow);
    }
    if (current != nullptr) *current = currentNow;
    if (stop != nullptr) *stop = stopNow;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::GetStopPosition(LONGLONG* out)
{
    return out == nullptr ? E_POINTER : GetPositions(nullptr, out);
}

STDMETHODIMP DicomOutputPin::GetCurrentPosition(LONGLONG* out)
{
    return out == nullptr ? E_POINTER : GetPositions(out, nullptr);
}

STDMETHODIMP DicomOutputPin::GetAvailable(LONGLONG* earliest, LONGLONG* latest)
{
    int64_t first = 0, last = 0;
    {
        const std::lock_guard guard(filter_.seekingLock);
        talv::GetAvailable(filter_.timeline, &first, &last);
    }
    if (earliest != nullptr) *earliest = first;
    if (latest != nullptr) *latest = last;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::ConvertTimeFormat(LONGLONG* out, const GUID* target, LONGLONG value,
                                               const GUID* source)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filter_.seekingLock);
    const GUID current =
        filter_.timeline.timeFormat == TimeFormat::frame ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME;
    const GUID& to = target != nullptr ? *target : current;
    const GUID& from = source != nullptr ? *source : current;
    if (to == from) {
        *out = value;
        return S_OK;
    }
    TimeFormat toFormat, fromFormat;
    if (!ToTimeFormat(to, &toFormat) || !ToTimeFormat(from, &fromFormat)) return E_INVALIDARG;
    *out = ConvertTime(filter_.timeline, value, toFormat, fromFormat);
    return S_OK;
}

STDMETHODIMP DicomOutputPin::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                          DWORD stopFlags)
{
    if ((current == nullptr && currentFlags != 0) || (stop == nullptr && stopFlags != 0)) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        int64_t currentValue = current != nullptr ? *current : 0, stopValue = stop != nullptr ? *stop : 0;
        SeekResult result;
        bool restart = false;
        {
            const std::lock_guard guard(filter_.seekingLock);
            result = talv::SetPositions(&filter_.timeline, current != nullptr ? &currentValue : nullptr,
                                        currentFlags, stop != nullptr ? &stopValue : nullptr, stopFlags);
            if (result == SeekResult::changed && ((currentFlags | stopFlags) & kSeekNoFlush) == 0)
                restart = MarkRestart();
        }
        if (result == SeekResult::badPositioning) return E_INVALIDARG;
        if (current != nullptr) *current = currentValue;
        if (stop != nullptr) *stop = stopValue;
        if (restart) RestartStream();
        return S_OK;
    });
}

STDMETHODIMP DicomOutputPin::SetRate(double rate)
{
    return Guarded([&]() -> HRESULT {
        bool restart = false;
        const auto set = [&](FrameTimeline* timeline) {
            if (!talv::SetRate(timeline, rate)) return false;
            restart = MarkRestart();
            return true;
        };
        if (!filter_.ChangeTimeline(set)) return E_INVALIDARG;
        if (restart) RestartStream();
        return S_OK;
    });
}

STDMETHODIMP DicomOutputPin::GetRate(double* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filter_.seekingLock);
    *out = filter_.timeline.rate;
    return S_OK;
}

STDMETHODIMP DicomOutputPin::GetPreroll(LONGLONG* out)
{
    if (out == nullptr) return E_POINTER;
    *out = 0;
    return S_OK;
}
}  // namespace talv
