#pragma once

#include <dshow.h>

namespace talv {
/// An AM_MEDIA_TYPE that owns its format block (task memory).
class MediaType
{
  public:
    MediaType() = default;
    MediaType(MediaType&& other) noexcept;
    MediaType& operator=(MediaType&& other) noexcept;
    MediaType(const MediaType&) = delete;
    MediaType& operator=(const MediaType&) = delete;
    ~MediaType() { Reset(); }

    /// Takes a deep copy of `source`; E_OUTOFMEMORY leaves this empty.
    HRESULT CopyFrom(const AM_MEDIA_TYPE& source);
    /// Writes a deep copy to `target`, which owns nothing before.
    HRESULT CopyTo(AM_MEDIA_TYPE* target) const;
    /// Gives `size` bytes of format block, copied from `bytes`.
    HRESULT SetFormat(const void* bytes, size_t size);
    void Reset();
    const AM_MEDIA_TYPE& Get() const { return type_; }
    AM_MEDIA_TYPE& Get() { return type_; }

  private:
    AM_MEDIA_TYPE type_ = {};
};

/// Deep copy of a type; `target` owns nothing before and, after a failure, nothing behind it.
HRESULT CopyMediaType(const AM_MEDIA_TYPE& source, AM_MEDIA_TYPE* target);
/// Whether `type` is what `wanted` asks for: any type for null, and GUID_NULL leaves a field open.
bool MatchesWanted(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE* wanted);
void FreeMediaType(AM_MEDIA_TYPE* type);
/// Frees the record itself too.
void DeleteMediaType(AM_MEDIA_TYPE* type);
}  // namespace talv
