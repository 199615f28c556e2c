#include "filter/directshow/media_type.h"

#include <cstring>
#include <utility>

namespace talv {
HRESULT CopyMediaType(const AM_MEDIA_TYPE& source, AM_MEDIA_TYPE* target)
{
    *target = source;
    target->pbFormat = nullptr;
    target->cbFormat = 0;
    target->pUnk = nullptr;
    if (source.cbFormat != 0 && source.pbFormat != nullptr) {
        target->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source.cbFormat));
        if (target->pbFormat == nullptr) {
            *target = {};
            return E_OUTOFMEMORY;
        }
        std::memcpy(target->pbFormat, source.pbFormat, source.cbFormat);
        target->cbFormat = source.cbFormat;
    }
    target->pUnk = source.pUnk;
    if (target->pUnk != nullptr) target->pUnk->AddRef();
    return S_OK;
}

bool MatchesWanted(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE* wanted)
{
    if (wanted == nullptr) return true;
    const auto fits = [](const GUID& open, const GUID& actual) {
        return open == GUID_NULL || open == actual;
    };
    return fits(wanted->majortype, type.majortype) && fits(wanted->subtype, type.subtype) &&
           fits(wanted->formattype, type.formattype);
}

void FreeMediaType(AM_MEDIA_TYPE* type)
{
    CoTaskMemFree(type->pbFormat);
    if (type->pUnk != nullptr) type->pUnk->Release();
    *type = {};
}

void DeleteMediaType(AM_MEDIA_TYPE* type)
{
    if (type == nullptr) return;
    FreeMediaType(type);
    CoTaskMemFree(type);
}

MediaType::MediaType(MediaType&& other) noexcept : type_(std::exchange(other.type_, {})) {}

MediaType& MediaType::operator=(MediaType&& other) noexcept
{
    if (this != &other) {
        Reset();
        type_ = std::exchange(other.type_, {});
    }
    return *this;
}

HRESULT MediaType::CopyFrom(const AM_MEDIA_TYPE& source)
{
    AM_MEDIA_TYPE copy = {};
    const HRESULT hr = CopyMediaType(source, &copy);
    Reset();
    type_ = copy;
    return hr;
}

HRESULT MediaType::CopyTo(AM_MEDIA_TYPE* target) const
{
    return CopyMediaType(type_, target);
}

HRESULT MediaType::SetFormat(const void* bytes, size_t size)
{
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(size));
    if (block == nullptr) return E_OUTOFMEMORY;
    std::memcpy(block, bytes, size);
    CoTaskMemFree(type_.pbFormat);
    type_.pbFormat = block;
    type_.cbFormat = static_cast<ULONG>(size);
    return S_OK;
}

void MediaType::Reset()
{
    FreeMediaType(&type_);
}
}  // namespace talv
