#pragma once

#include "TVDicRd.h"
#include "filter/directshow/dispatch.h"

namespace talv {
class DicomReaderFilter;

/// ITMMCommon1 and ITMMCommon of the filter: settings to and from files and memory, and what its pins are.
/// The filter has no input pin, so every question about one is answered E_INVALIDARG. Part of the filter.
class ReaderCommon final : public DualInterface<ITMMCommon>
{
  public:
    explicit ReaderCommon(DicomReaderFilter& filter) : DualInterface(IID_ITMMCommon), filter_(filter) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP get_FilterName(BSTR* out) override;
    STDMETHODIMP ExportSettings(BSTR fileName) override;
    STDMETHODIMP ImportSettings(BSTR fileName) override;
    STDMETHODIMP LoadSettings() override;
    STDMETHODIMP CommitSettings() override;
    STDMETHODIMP LoadFromMemory(unsigned char* buffer) override;
    STDMETHODIMP WriteToMemory(unsigned char* buffer, LONG* size) override;
    STDMETHODIMP get_FilterState(LONG* out) override;
    STDMETHODIMP get_InputPinsCount(LONG* out) override;
    STDMETHODIMP get_OutputPinsCount(LONG* out) override;

    STDMETHODIMP get_InputPinName(LONG, BSTR* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutputPinName(LONG pin, BSTR* out) override;
    STDMETHODIMP get_IsTalvInputPinConnected(LONG, VARIANT_BOOL* out) override { return NoInputPin(out); }
    STDMETHODIMP get_IsTalvOutputPinConnected(LONG pin, VARIANT_BOOL* out) override;
    STDMETHODIMP get_InputPinStreamType(LONG, BSTR* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutputPinStreamType(LONG pin, BSTR* out) override;
    STDMETHODIMP get_InWidth(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_InHeight(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutWidth(LONG pin, LONG* out) override;
    STDMETHODIMP get_OutHeight(LONG pin, LONG* out) override;
    STDMETHODIMP get_InBits(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutBits(LONG pin, LONG* out) override;
    STDMETHODIMP get_InChannels(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutChannels(LONG pin, LONG* out) override;
    STDMETHODIMP get_InBitsPerSample(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutBitsPerSample(LONG pin, LONG* out) override;
    STDMETHODIMP get_InSamplesPerSec(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_OutSamplesPerSec(LONG pin, LONG* out) override;
    STDMETHODIMP get_InputAspectRatioX(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_InputAspectRatioY(LONG, LONG* out) override { return NoInputPin(out); }
    STDMETHODIMP get_InputPinStreamSubType(LONG, BSTR* out) override { return NoInputPin(out); }

  private:
    template <class Value>
    static HRESULT NoInputPin(Value* out)
    {
        if (out == nullptr) return E_POINTER;
        *out = Value{};
        return E_INVALIDARG;
    }
    /// Writes `value` for output pin 0; any other index is E_INVALIDARG.
    HRESULT OfOutputPin(LONG pin, LONG value, LONG* out);

    DicomReaderFilter& filter_;
};
}  // namespace talv
