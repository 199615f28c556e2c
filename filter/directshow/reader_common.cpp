#include "filter/directshow/reader_common.h"

#include <mutex>

#include "filter/directshow/reader_filter.h"
#include "filter/directshow/server_ids.h"
#include "filter/directshow/short_name.h"
#include "filter/directshow/task_text.h"

namespace talv {
namespace {
constexpr DWORD kStateTimeout = 1000;  // ms

bool NarrowName(BSTR fileName, std::string* narrow)
{
    const std::wstring name = NameForNarrowCalls(fileName);
    return NarrowFromWide({reinterpret_cast<const char16_t*>(name.data()), name.size()}, narrow);
}
}  // namespace

STDMETHODIMP ReaderCommon::QueryInterface(REFIID iid, void** out)
{
    return filter_.QueryInterface(iid, out);
}

STDMETHODIMP_(ULONG) ReaderCommon::AddRef()
{
    return filter_.AddRef();
}

STDMETHODIMP_(ULONG) ReaderCommon::Release()
{
    return filter_.Release();
}

STDMETHODIMP ReaderCommon::get_FilterName(BSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return Guarded([&] { return ReturnText(kReaderName, out); });
}

// --- settings

STDMETHODIMP ReaderCommon::ExportSettings(BSTR fileName)
{
    if (fileName == nullptr) return E_POINTER;
    return Guarded([&] {
        ReaderSettings settings;
        {
            const std::lock_guard guard(filter_.seekingLock);
            settings = filter_.timeline.settings;
        }
        std::string narrow;
        const bool written = NarrowName(fileName, &narrow) && talv::ExportSettings(settings, narrow.c_str());
        return written ? S_OK : E_FAIL;
    });
}

STDMETHODIMP ReaderCommon::ImportSettings(BSTR fileName)
{
    if (fileName == nullptr) return E_POINTER;
    return Guarded([&] {
        std::string narrow;
        if (!NarrowName(fileName, &narrow)) return E_FAIL;
        const ReaderSettings settings = talv::ImportSettings(narrow.c_str());
        filter_.ChangeTimeline([&](FrameTimeline* timeline) { PutSettings(timeline, settings); });
        return S_OK;
    });
}

STDMETHODIMP ReaderCommon::LoadSettings()
{
    return Guarded([&] {
        const ReaderSettings settings = ReadSettings();
        filter_.ChangeTimeline([&](FrameTimeline* timeline) { AdoptStoredSettings(timeline, settings); });
        return S_OK;
    });
}

STDMETHODIMP ReaderCommon::CommitSettings()
{
    return Guarded([&] { return static_cast<HRESULT>(filter_.CommitSettings()); });
}

STDMETHODIMP ReaderCommon::LoadFromMemory(unsigned char* buffer)
{
    if (buffer == nullptr || IsBadReadPtr(buffer, kSettingsBlockSize)) return E_POINTER;
    const ReaderSettings settings = SettingsFromBlock(buffer);
    filter_.ChangeTimeline([&](FrameTimeline* timeline) { PutSettings(timeline, settings); });
    return S_OK;
}

STDMETHODIMP ReaderCommon::WriteToMemory(unsigned char* buffer, LONG* size)
{
    if (buffer == nullptr) {
        if (size == nullptr) return E_POINTER;
        *size = kSettingsBlockSize;
        return S_OK;
    }
    if (IsBadWritePtr(buffer, kSettingsBlockSize)) return E_POINTER;
    const std::lock_guard guard(filter_.seekingLock);
    SettingsToBlock(filter_.timeline.settings, buffer);
    return S_OK;
}

// --- filter and pins

STDMETHODIMP ReaderCommon::get_FilterState(LONG* out)
{
    if (out == nullptr) return E_POINTER;
    FILTER_STATE state = State_Stopped;
    const HRESULT hr = filter_.GetState(kStateTimeout, &state);
    *out = state;
    return hr;
}

STDMETHODIMP ReaderCommon::get_InputPinsCount(LONG* out)
{
    if (out == nullptr) return E_POINTER;
    *out = 0;
    return S_OK;
}

STDMETHODIMP ReaderCommon::get_OutputPinsCount(LONG* out)
{
    if (out == nullptr) return E_POINTER;
    *out = 1;
    return S_OK;
}

HRESULT ReaderCommon::OfOutputPin(LONG pin, LONG value, LONG* out)
{
    if (out == nullptr) return E_POINTER;
    *out = pin == 0 ? value : 0;
    return pin == 0 ? S_OK : E_INVALIDARG;
}

STDMETHODIMP ReaderCommon::get_OutputPinName(LONG pin, BSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (pin != 0) return E_INVALIDARG;
    return Guarded([&] { return ReturnText(filter_.ExposedPin().Name(), out); });
}

STDMETHODIMP ReaderCommon::get_IsTalvOutputPinConnected(LONG pin, VARIANT_BOOL* out)
{
    if (out == nullptr) return E_POINTER;
    *out = pin == 0 && filter_.ExposedPin().IsConnected() ? VARIANT_TRUE : VARIANT_FALSE;
    return pin == 0 ? S_OK : E_INVALIDARG;
}

STDMETHODIMP ReaderCommon::get_OutputPinStreamType(LONG pin, BSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (pin != 0) return E_INVALIDARG;
    return Guarded([&] {
        wchar_t text[40] = {};
        StringFromGUID2(filter_.source.isMpeg2Stream ? MEDIATYPE_Stream : MEDIATYPE_Video, text, 40);
        return ReturnText(text, out);
    });
}

STDMETHODIMP ReaderCommon::get_OutWidth(LONG pin, LONG* out)
{
    return OfOutputPin(pin, filter_.source.width, out);
}

STDMETHODIMP ReaderCommon::get_OutHeight(LONG pin, LONG* out)
{
    return OfOutputPin(pin, filter_.source.height, out);
}

STDMETHODIMP ReaderCommon::get_OutBits(LONG pin, LONG* out)
{
    return OfOutputPin(pin, static_cast<LONG>(filter_.source.bitsPerPixel), out);
}

// The next three are questions about sound.

STDMETHODIMP ReaderCommon::get_OutChannels(LONG pin, LONG* out)
{
    return OfOutputPin(pin, 0, out);
}

STDMETHODIMP ReaderCommon::get_OutBitsPerSample(LONG pin, LONG* out)
{
    return OfOutputPin(pin, 0, out);
}

STDMETHODIMP ReaderCommon::get_OutSamplesPerSec(LONG pin, LONG* out)
{
    return OfOutputPin(pin, 0, out);
}
}  // namespace talv
