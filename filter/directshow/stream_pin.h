#pragma once

#include <list>

#include "filter/directshow/output_pin.h"
#include "platform/lock.h"

namespace talv {
/// The MPEG-2 pin: offers the stream held in memory to a parser that pulls it. Reads are answered at once, on
/// the caller's thread; asynchronous requests are filled when they are made and handed back by WaitForNext.
class StreamOutputPin final : public OutputPin, public IAsyncReader
{
  public:
    explicit StreamOutputPin(DicomReaderFilter& filter);
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        return OutputPin::QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return OutputPin::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return OutputPin::Release(); }

    HRESULT GetMediaType(int position, MediaType* out) override;
    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    /// Forgets requests that nobody fetched.
    void Rewind();

    // IAsyncReader
    STDMETHODIMP RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                  IMemAllocator** out) override;
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) override;
    STDMETHODIMP WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) override;
    STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

  private:
    struct Filled
    {
        ComPointer<IMediaSample> sample;
        DWORD_PTR user;
        HRESULT result;
    };
    IUnknown* FindPinInterface(REFIID iid) override;
    void BreakConnect() override { Rewind(); }
    HRESULT ReadInto(IMediaSample* sample);

    Lock requestLock_;          ///< guards filled_ and flushing_; a leaf
    std::list<Filled> filled_;  ///< requests waiting for WaitForNext, oldest first
    bool flushing_ = false;
    Condition changed_;  ///< a request was filled or a flush began
};
}  // namespace talv
