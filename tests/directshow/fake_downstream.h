#pragma once

#include <dshow.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "filter/directshow/com_pointer.h"
#include "filter/directshow/media_type.h"
#include "tests/directshow/component_fixture.h"

namespace talv {
/// The system's memory allocator with faults built in.
class FakeAllocator final : public IMemAllocator
{
  public:
    FakeAllocator();
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++count_; }
    STDMETHODIMP_(ULONG) Release() override { return --count_; }
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* wanted, ALLOCATOR_PROPERTIES* actual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* out) override { return real_->GetProperties(out); }
    STDMETHODIMP Commit() override { return real_->Commit(); }
    STDMETHODIMP Decommit() override { return real_->Decommit(); }
    STDMETHODIMP GetBuffer(IMediaSample** out, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override;
    STDMETHODIMP ReleaseBuffer(IMediaSample* sample) override { return real_->ReleaseBuffer(sample); }

    LONG largest = 1 << 20;     ///< no buffer is larger than this
    bool honest = true;         ///< false: announces the size wanted all the same
    bool nullPointers = false;  ///< samples have no memory
    MediaType changedType;  ///< when it has a format: carried by the sample handed out as number `changeAt`
    int changeAt = 0;
    ULONG References() const { return count_; }

  private:
    ComPointer<IMemAllocator> real_;
    std::atomic<ULONG> count_{1};
    int handedOut_ = 0;
};

/// A downstream pin without filter or graph. It accepts any type; the test sets what it answers.
class FakePin final : public IPin, public IMemInputPin
{
  public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++count_; }
    STDMETHODIMP_(ULONG) Release() override { return --count_; }
    STDMETHODIMP Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return S_OK; }
    STDMETHODIMP Disconnect() override { return S_OK; }
    STDMETHODIMP ConnectedTo(IPin**) override { return VFW_E_NOT_CONNECTED; }
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE*) override { return VFW_E_NOT_CONNECTED; }
    STDMETHODIMP QueryPinInfo(PIN_INFO*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryDirection(PIN_DIRECTION* out) override;
    STDMETHODIMP QueryId(LPWSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE*) override { return S_OK; }
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes**) override { return E_NOTIMPL; }
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }
    STDMETHODIMP GetAllocator(IMemAllocator** out) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* chosen, BOOL) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample**, LONG, LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP ReceiveCanBlock() override { return S_OK; }

    /// Waits up to 5 seconds for the end of the stream.
    bool WaitForEnd() const;
    std::vector<RecordedSample> Samples() const;

    FakeAllocator* allocator = nullptr;    ///< offered to the source when there is one
    IMemAllocator* chosen = nullptr;       ///< not counted
    std::atomic<int> notReady{0};          ///< so many samples are refused first: still stopped
    std::atomic<DWORD> msPerSample{0};     ///< how long a sample is held, unless a flush comes
    std::atomic<DWORD> msPerFlush{0};      ///< how long BeginFlush takes once samples are let go
    std::atomic<HRESULT> answer{S_OK};     ///< to the samples taken
    std::function<void()> onSample;        ///< called on the source's thread for each
    std::atomic<int> ends{0}, flushes{0};  ///< calls so far
    ULONG References() const { return count_; }

  private:
    std::atomic<ULONG> count_{1};
    std::atomic<bool> flushing_{false};
    mutable std::mutex mutex_;
    std::vector<RecordedSample> samples_;
};
}  // namespace talv
