#pragma once

// The packaged DICOM toolkit as a JPEG peer, in memory: frames are decoded out of a data set that is never
// written, and streams come from its encoders.

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>
#include <dcmtk/dcmjpeg/djrploss.h>

#include <cstdint>
#include <vector>

namespace talv {
struct DcmtkPicture
{
    int width;
    int height;
    int samples;
    int bitsAllocated;
    int bitsStored;
};

inline void DescribePicture(const DcmtkPicture& picture, DcmDataset* set)
{
    set->putAndInsertString(DCM_SOPClassUID, UID_SecondaryCaptureImageStorage);
    set->putAndInsertString(DCM_SOPInstanceUID, "1.2.3.4");
    set->putAndInsertUint16(DCM_Rows, static_cast<Uint16>(picture.height));
    set->putAndInsertUint16(DCM_Columns, static_cast<Uint16>(picture.width));
    set->putAndInsertUint16(DCM_SamplesPerPixel, static_cast<Uint16>(picture.samples));
    set->putAndInsertUint16(DCM_BitsAllocated, static_cast<Uint16>(picture.bitsAllocated));
    set->putAndInsertUint16(DCM_BitsStored, static_cast<Uint16>(picture.bitsStored));
    set->putAndInsertUint16(DCM_HighBit, static_cast<Uint16>(picture.bitsStored - 1));
    set->putAndInsertUint16(DCM_PixelRepresentation, 0);
    if (picture.samples == 3) set->putAndInsertUint16(DCM_PlanarConfiguration, 0);
    set->putAndInsertString(DCM_PhotometricInterpretation, picture.samples == 3 ? "RGB" : "MONOCHROME2");
}

/// Encodes rows of grey samples; the stream of the one fragment.
inline std::vector<uint8_t> EncodeWithDcmtk(const DcmtkPicture& picture, const std::vector<uint8_t>& rows,
                                            E_TransferSyntax syntax, const DcmRepresentationParameter& how)
{
    DcmDataset set;
    DescribePicture(picture, &set);
    if (picture.bitsAllocated == 16)
        set.putAndInsertUint16Array(DCM_PixelData, reinterpret_cast<const Uint16*>(rows.data()),
                                    rows.size() / 2);
    else
        set.putAndInsertUint8Array(DCM_PixelData, rows.data(), rows.size());
    if (set.chooseRepresentation(syntax, &how).bad()) return {};
    DcmElement* element = nullptr;
    DcmPixelSequence* sequence = nullptr;
    DcmPixelItem* item = nullptr;
    Uint8* bytes = nullptr;
    if (set.findAndGetElement(DCM_PixelData, element).bad() ||
        static_cast<DcmPixelData*>(element)->getEncapsulatedRepresentation(syntax, &how, sequence).bad() ||
        sequence->getItem(item, 1).bad() || item->getUint8Array(bytes).bad())
        return {};
    return {bytes, bytes + item->getLength()};
}

/// A data set of one compressed frame.
class DcmtkFrame
{
  public:
    DcmtkFrame(const DcmtkPicture& picture, const std::vector<uint8_t>& stream, E_TransferSyntax syntax)
    {
        DescribePicture(picture, &set_);
        if (picture.samples == 3 && syntax != EXS_JPEGProcess14SV1)
            set_.putAndInsertString(DCM_PhotometricInterpretation, "YBR_FULL_422");
        auto* sequence = new DcmPixelSequence(DcmTag(DCM_PixelData, EVR_OB));
        sequence->insert(new DcmPixelItem(DcmTag(DCM_Item, EVR_OB)));
        DcmOffsetList offsets;
        auto* bytes = const_cast<Uint8*>(stream.data());
        sequence->storeCompressedFrame(offsets, bytes, static_cast<Uint32>(stream.size()), 0);
        pixels_ = new DcmPixelData(DcmTag(DCM_PixelData, EVR_OB));
        pixels_->putOriginalRepresentation(syntax, nullptr, sequence);
        set_.insert(pixels_);
    }

    bool Decode(std::vector<uint8_t>* rows)
    {
        Uint32 fragment = 1;
        OFString colours;
        return pixels_
            ->getUncompressedFrame(&set_, 0, fragment, rows->data(), static_cast<Uint32>(rows->size()),
                                   colours)
            .good();
    }

  private:
    DcmDataset set_;
    DcmPixelData* pixels_;  ///< owned by the data set
};
}  // namespace talv
