#include "image/attribute_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talv {
DicomElement* AttributeReader::Find(uint32_t tag) const
{
    DicomElement* element = dataSet_->FindFirstElement(pixelElement_, tag, true);
    if (element != nullptr) return element;
    if (pixelElement_ != nullptr && pixelElement_->parent != nullptr)
        return dataSet_->FindFirstElement(nullptr, tag, true);
    return groups_ != nullptr ? groups_->Find(dataSet_, frame_, tag) : nullptr;
}

bool AttributeReader::Integer(uint32_t tag, uint32_t index, int32_t* value) const
{
    DicomElement* element = Find(tag);
    return element != nullptr && dataSet_->GetInteger(element, index, value);
}

bool AttributeReader::Real(uint32_t tag, uint32_t index, double* value) const
{
    DicomElement* element = Find(tag);
    return element != nullptr && dataSet_->GetReal(element, index, value) && std::isfinite(*value);
}

uint32_t AttributeReader::Unsigned(uint32_t tag) const
{
    int32_t value = 0;
    return Integer(tag, 0, &value) && value > 0 ? static_cast<uint32_t>(value) : 0;
}

bool AttributeReader::Text(uint32_t tag, std::string* text) const
{
    DicomElement* element = Find(tag);
    char** strings = element != nullptr ? dataSet_->GetStrings(element, 0, 1) : nullptr;
    if (strings == nullptr || *strings == nullptr) return false;
    *text = *strings;
    return true;
}

int32_t TruncateToInt32(double value)
{
    constexpr double kSmallest = std::numeric_limits<int32_t>::min();
    constexpr double kLargest = std::numeric_limits<int32_t>::max();
    if (std::isnan(value)) return 0;
    return static_cast<int32_t>(std::clamp(value, kSmallest, kLargest));
}

uint64_t BytesPresent(const DicomElement* element)
{
    if (element->length == kUndefinedLength) return 0;
    const uint64_t declared = std::min(element->length, element->valueLength);
    if (element->valueStream == nullptr) return declared;
    const uint64_t size = element->valueStream->Size();
    return element->valuePosition >= size ? 0 : std::min(declared, size - element->valuePosition);
}

size_t ReadValueWords(DicomDataSet* dataSet, const DicomElement* element, uint64_t offset, uint16_t* words,
                      size_t count)
{
    auto* bytes = reinterpret_cast<uint8_t*>(words);
    const size_t read = dataSet->ReadValueBytes(element, offset, bytes, count * 2) / 2;
    const bool bigEndian = (dataSet->mode & kModeBigEndian) != 0;
    for (size_t i = 0; i < read; ++i) {
        const uint8_t first = bytes[2 * i], second = bytes[2 * i + 1];
        words[i] = static_cast<uint16_t>(bigEndian ? first << 8 | second : second << 8 | first);
    }
    return read;
}
}  // namespace talv
