#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "dicom/reader.h"
#include "image/get_image.h"
#include "image/image_description.h"
#include "tests/support/dicom_builder.h"

namespace talv {
/// A data set loaded from bytes in memory.
class LoadedFile
{
  public:
    explicit LoadedFile(ByteVector bytes, const DataSetTables& tables = StandardTables())
        : bytes_(std::move(bytes)), dataSet(tables)
    {
        EXPECT_TRUE(stream_.OpenMemory(bytes_.data(), bytes_.size()));
        status = LoadDataSet(&dataSet, &stream_, 0, false);
    }

    DicomElement* PixelData() { return dataSet.FindFirstElement(nullptr, kTagPixelData, false); }
    ImageDescription Description(uint32_t frame = 0)
    {
        ImageDescription description;
        descriptionStatus = ReadImageDescription(&dataSet, PixelData(), &description, frame, true);
        return description;
    }

  private:
    ByteVector bytes_;
    DicomStream stream_;

  public:
    DicomDataSet dataSet;
    DicomStatus status = kDicomOk;
    DicomStatus descriptionStatus = kDicomOk;
};

/// One frame as GetImage gives it.
class Picture
{
  public:
    Picture(LoadedFile* file, uint32_t frame = 0, uint32_t options = kPlayerImageOptions)
        : status(GetImage(&file->dataSet, file->PixelData(), &bitmap, kBitmapStructSize, frame, 0, 4, options,
                          nullptr, nullptr))
    {}
    ~Picture() { FreeBitmap(&bitmap); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    /// All rows, padding included.
    ByteVector Rows()
    {
        ByteVector rows(size_t{bitmap.bytesPerLine} * static_cast<size_t>(bitmap.height));
        for (int32_t y = 0; y < bitmap.height; ++y)
            EXPECT_EQ(
                GetBitmapRow(&bitmap, rows.data() + size_t{bitmap.bytesPerLine} * static_cast<size_t>(y), y,
                             bitmap.bytesPerLine),
                static_cast<int32_t>(bitmap.bytesPerLine));
        return rows;
    }
    /// All rows as little-endian words.
    std::vector<uint16_t> Words()
    {
        const ByteVector rows = Rows();
        std::vector<uint16_t> words(rows.size() / 2);
        for (size_t i = 0; i < words.size(); ++i)
            words[i] = static_cast<uint16_t>(rows[2 * i] | rows[2 * i + 1] << 8);
        return words;
    }

    ImageBitmap bitmap{};
    DicomStatus status;
};

inline ImageAttributes Grey8(uint16_t rows, uint16_t columns)
{
    ImageAttributes attributes;
    attributes.rows = rows;
    attributes.columns = columns;
    return attributes;
}
inline ImageAttributes Grey16(uint16_t rows, uint16_t columns, bool isSigned = false)
{
    ImageAttributes attributes = Grey8(rows, columns);
    attributes.bitsAllocated = attributes.bitsStored = 16;
    attributes.highBit = 15;
    attributes.pixelRepresentation = isSigned ? 1 : 0;
    return attributes;
}
inline ImageAttributes Color8(uint16_t rows, uint16_t columns, const char* photometric = "RGB",
                              uint16_t planar = 0)
{
    ImageAttributes attributes = Grey8(rows, columns);
    attributes.samplesPerPixel = 3;
    attributes.photometric = photometric;
    attributes.planarConfiguration = planar;
    return attributes;
}

inline constexpr const char* kRleSyntax = "1.2.840.10008.1.2.5";
inline constexpr const char* kJpegSyntax = "1.2.840.10008.1.2.4.50";
inline constexpr const char* kJ2kSyntax = "1.2.840.10008.1.2.4.90";
}  // namespace talv
