#pragma once

#include <dshow.h>

namespace talv {
// The framework's sample grabber and null renderer, which the platform headers no longer declare.

inline constexpr GUID kSampleGrabberClass = {
    0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
inline constexpr GUID kNullRendererClass = {
    0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
inline constexpr GUID kSampleGrabberInterface = {
    0x6B652FFF, 0x11FE, 0x4FCE, {0x92, 0xAD, 0x02, 0x66, 0xB5, 0xD7, 0xC7, 0x8F}};
inline constexpr GUID kSampleGrabberCallbackInterface = {
    0x0579154A, 0x2B53, 0x4994, {0xB0, 0xD0, 0xE7, 0x73, 0x14, 0x8E, 0xFF, 0x85}};
/// The classic video renderer, which draws into a window of its own.
inline constexpr GUID kVideoRendererClass = {
    0x70E102B0, 0x5556, 0x11CE, {0x97, 0xC0, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};

struct SampleGrabberCallback : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE SampleCB(double seconds, IMediaSample* sample) = 0;
    virtual HRESULT STDMETHODCALLTYPE BufferCB(double seconds, BYTE* bytes, LONG length) = 0;
};

struct SampleGrabber : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE SetOneShot(BOOL oneShot) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMediaType(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectedMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetBufferSamples(BOOL buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentBuffer(LONG* size, LONG* bytes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentSample(IMediaSample** sample) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCallback(SampleGrabberCallback* callback, LONG which) = 0;
};
}  // namespace talv
