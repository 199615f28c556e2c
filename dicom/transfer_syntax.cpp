#include <cstring>

#include "dicom/reader.h"

namespace talv {
namespace {
struct SyntaxRow
{
    const char* uid;
    TransferSyntax syntax;
};

// clang-format off
constexpr SyntaxRow kSyntaxes[] = {
    {"1.2.840.10008.1.2",       {kImplicitLittle, kCompressionNone}},
    {"1.2.840.10008.1.20",      {kImplicitLittle, kCompressionNone}},
    {"1.2.840.10008.1.2.1",     {kExplicitLittle, kCompressionNone}},
    {"1.2.840.10008.1.2.2",     {kExplicitBig,    kCompressionNone}},
    {"1.2.840.10008.1.2.5",     {kExplicitLittle, kCompressionRle}},
    {"1.2.840.10008.1.2.4.57",  {kExplicitLittle, kCompressionJpegLossless}},
    {"1.2.840.10008.1.2.4.58",  {kExplicitLittle, kCompressionJpegLossless}},
    {"1.2.840.10008.1.2.4.65",  {kExplicitLittle, kCompressionJpegLossless}},
    {"1.2.840.10008.1.2.4.66",  {kExplicitLittle, kCompressionJpegLossless}},
    {"1.2.840.10008.1.2.4.70",  {kExplicitLittle, kCompressionJpegLossless}},
    {"1.2.840.10008.1.2.4.50",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.51",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.52",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.53",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.54",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.55",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.56",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.59",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.60",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.61",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.62",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.63",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.64",  {kExplicitLittle, kCompressionJpegLossy}},
    {"1.2.840.10008.1.2.4.80",  {kExplicitLittle, kCompressionJpegLsLossless}},
    {"1.2.840.10008.1.2.4.81",  {kExplicitLittle, kCompressionJpegLsNear}},
    {"1.2.840.10008.1.2.4.90",  {kExplicitLittle, kCompressionJ2kLossless}},
    {"1.2.840.10008.1.2.4.91",  {kExplicitLittle, kCompressionJ2k}},
    {"1.2.840.10008.1.2.4.100", {kExplicitLittle, kCompressionMpeg2}},
};
// clang-format on
}  // namespace

const TransferSyntax* FindTransferSyntax(const char* uid)
{
    for (const SyntaxRow& row : kSyntaxes)
        if (std::strcmp(row.uid, uid) == 0) return &row.syntax;
    return nullptr;
}

bool ClassifyTransferSyntax(DicomDataSet* dataSet, const char* uid, TransferSyntax* result)
{
    *result = {};
    char stored[256] = {};
    if (uid == nullptr) {
        if (dataSet == nullptr ||
            !dataSet->GetTagValue(nullptr, kTagTransferSyntaxUid, stored, 0, sizeof stored, 0))
            return false;
        uid = stored;
    }
    // Kept: any other UID, the deflated syntax among them, counts as implicit VR little endian.
    // Pinned by ClassifyTransferSyntax.UnknownUidsAreImplicitLittle.
    if (const TransferSyntax* const listed = FindTransferSyntax(uid)) *result = *listed;
    return true;
}
}  // namespace talv
