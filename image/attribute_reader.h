#pragma once

#include <cstdint>
#include <string>

#include "dicom/data_set.h"
#include "image/functional_groups.h"

namespace talv {
/// Reads the attributes that describe one Pixel Data element. They are looked for at that element's own level
/// first (the image itself, or the item of an icon image), then at the top level, then, for an image of the
/// top level, in the functional groups of `frame`.
class AttributeReader
{
  public:
    /// `groups`, which may be null, must live as long as the reader.
    AttributeReader(DicomDataSet* dataSet, DicomElement* pixelElement,
                    const FunctionalGroups* groups = nullptr, uint32_t frame = 0)
        : dataSet_(dataSet), pixelElement_(pixelElement), groups_(groups), frame_(frame)
    {}

    /// Null for "none".
    DicomElement* Find(uint32_t tag) const;
    /// Value `index` of `tag` as a whole number; false when there is none.
    bool Integer(uint32_t tag, uint32_t index, int32_t* value) const;
    /// Likewise as a finite real number.
    bool Real(uint32_t tag, uint32_t index, double* value) const;
    /// A number that cannot be negative; 0 when it is absent or negative.
    uint32_t Unsigned(uint32_t tag) const;
    /// The first text value of `tag`, padding removed; false when there is none.
    bool Text(uint32_t tag, std::string* text) const;

    DicomDataSet* dataSet() const { return dataSet_; }

  private:
    DicomDataSet* dataSet_;
    DicomElement* pixelElement_;
    const FunctionalGroups* groups_;
    uint32_t frame_;
};

/// Truncates toward zero and saturates; not a number gives 0.
int32_t TruncateToInt32(double value);

/// Bytes of `element`'s value that its stream really holds, which may be fewer than its length says.
uint64_t BytesPresent(const DicomElement* element);

/// Reads up to `count` 16-bit words of a value from byte `offset` on, in the data set's byte order. Returns
/// the words read.
size_t ReadValueWords(DicomDataSet* dataSet, const DicomElement* element, uint64_t offset, uint16_t* words,
                      size_t count);
}  // namespace talv
