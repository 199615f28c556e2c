#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dicom/reader.h"
#include "tests/support/dicom_builder.h"

namespace talv {
/// A data set loaded from bytes, together with the stream that its values stay in.
struct LoadedBytes
{
    explicit LoadedBytes(const ByteVector& fileBytes, uint16_t flags = 0, bool requireImage = false)
        : bytes(fileBytes)
    {
        stream.OpenMemory(bytes.data(), bytes.size());
        status = LoadDataSet(&dataSet, &stream, flags, requireImage);
    }
    DicomElement* Find(uint32_t tag, bool topLevel = true)
    {
        return dataSet.FindFirstElement(nullptr, tag, topLevel);
    }
    uint32_t Count() const
    {
        uint32_t count = 0;
        for (auto* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node)) ++count;
        return count;
    }

    ByteVector bytes;
    DicomStream stream;
    DicomDataSet dataSet;
    DicomStatus status;
};

/// The tags of a level, in order.
inline std::vector<uint32_t> TagsOf(const DicomElement* first)
{
    std::vector<uint32_t> tags;
    for (; first != nullptr; first = first->nextSibling) tags.push_back(first->tag);
    return tags;
}

inline std::string SamplePath(const std::string& name)
{
    return std::string(TALV_TEST_DATA "/samples/") + name;
}
}  // namespace talv
