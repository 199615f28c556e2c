#pragma once

#include <type_traits>

#include "TVDicRd.h"
#include "filter/directshow/dispatch.h"

namespace talv {
class DicomReaderFilter;

/// A data set's address as automation carries it: VT_I4 or VT_I8, as wide as a pointer.
using DataSetPointer = std::conditional_t<sizeof(void*) == 4, LONG, LONGLONG>;

/// ITVDicRd of the filter: the file, the data set and the three settings. Part of the filter.
class ReaderAutomation final : public DualInterface<ITVDicRd>
{
  public:
    explicit ReaderAutomation(DicomReaderFilter& filter) : DualInterface(IID_ITVDicRd), filter_(filter) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP get_InputFileName(BSTR* out) override;
    STDMETHODIMP put_InputFileName(BSTR fileName) override;
    STDMETHODIMP get_ConnectionState(LONG* out) override;
    STDMETHODIMP get_DicomDS(DataSetPointer* out) override;
    STDMETHODIMP get_FrameTime(LONG* out) override;
    STDMETHODIMP put_FrameTime(LONG milliseconds) override;
    STDMETHODIMP get_FrameControl(VARIANT_BOOL* out) override;
    STDMETHODIMP put_FrameControl(VARIANT_BOOL on) override;
    STDMETHODIMP get_FrameDropping(VARIANT_BOOL* out) override;
    STDMETHODIMP put_FrameDropping(VARIANT_BOOL on) override;
    STDMETHODIMP SetDicomDS(DataSetPointer dataSet, VARIANT_BOOL copy) override;
    STDMETHODIMP get_IsMPEG2Stream(VARIANT_BOOL* out) override;
    STDMETHODIMP ResetToDefaults() override;

  private:
    DicomReaderFilter& filter_;
};
}  // namespace talv
