#include "filter/directshow/video_type.h"

#include "filter/directshow/server_ids.h"

namespace talv {
namespace {
struct SubtypeName
{
    VideoSubtype subtype;
    const GUID* guid;
};
const SubtypeName kSubtypes[] = {
    {VideoSubtype::rgb1, &MEDIASUBTYPE_RGB1},   {VideoSubtype::rgb4, &MEDIASUBTYPE_RGB4},
    {VideoSubtype::rgb8, &MEDIASUBTYPE_RGB8},   {VideoSubtype::grey, &kSubtypeGrey},
    {VideoSubtype::rgb24, &MEDIASUBTYPE_RGB24}, {VideoSubtype::rgb32, &MEDIASUBTYPE_RGB32},
};
}  // namespace

HRESULT MakeVideoType(const FrameSource& source, MediaType* out)
{
    MediaFormat format;
    if (!BuildMediaFormat(source, &format)) return E_OUTOFMEMORY;
    if (format.subtype == VideoSubtype::none) return VFW_S_NO_MORE_ITEMS;
    out->Reset();
    const HRESULT hr = out->SetFormat(format.block.data(), format.block.size());
    if (FAILED(hr)) return hr;
    AM_MEDIA_TYPE& type = out->Get();
    type.majortype = MEDIATYPE_Video;
    type.formattype = FORMAT_VideoInfo;
    type.bFixedSizeSamples = TRUE;
    type.bTemporalCompression = FALSE;
    type.lSampleSize = format.sampleSize;
    for (const SubtypeName& entry : kSubtypes)
        if (entry.subtype == format.subtype) type.subtype = *entry.guid;
    return S_OK;
}

bool DescribeType(const AM_MEDIA_TYPE& type, ProposedFormat* proposed)
{
    *proposed = {};
    proposed->isVideo = type.majortype == MEDIATYPE_Video;
    proposed->fixedSize = type.bFixedSizeSamples != FALSE;
    proposed->videoInfo = type.formattype == FORMAT_VideoInfo;
    proposed->temporalCompression = type.bTemporalCompression != FALSE;
    proposed->sampleSize = type.lSampleSize;
    for (const SubtypeName& entry : kSubtypes)
        if (*entry.guid == type.subtype) proposed->subtype = entry.subtype;
    return ReadFormatBlock(type.pbFormat, type.cbFormat, proposed);
}
}  // namespace talv
