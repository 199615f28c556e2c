#pragma once

#include <string>
#include <unordered_map>

#include "dicom/data_set.h"

namespace talv {
/// "(0028,0010)".
std::string TagWords(uint32_t tag);
/// Name by the dictionary, or what kind of element it is.
std::string ElementName(const DicomElement& element);
/// The two letters; behind them, in parentheses, those of the file where others count. "??" for none.
std::string VrText(const DicomElement& element);
/// True when the value is shown as bytes.
bool IsBinary(const DicomElement& element);
/// One line: the first bytes of a binary value (with `full` many of them), the text of another; a value of
/// more than 4096 bytes by its head, unless `full` asks for its text.
std::string ValueText(DicomDataSet* dataSet, DicomElement* element, bool full);
/// `text` of this data set in UTF-8, where its Specific Character Set is Latin-1 (PS3.3 C.12.1.1.2); texts of
/// other character sets come back as they are.
std::string TextInUtf8(DicomDataSet* dataSet, const std::string& text);
/// Numbers the items of sequences from 1. Asking in the order of the file costs each item once.
class ItemNumbers
{
  public:
    int Of(const DicomElement& item);

  private:
    struct Known
    {
        const DicomElement* item = nullptr;
        int number = 0;
    };
    std::unordered_map<const DicomElement*, Known> ofParent_;  // the item that was asked for last
};

/// Where a nested element stands: the tags of the sequences around it with the numbers of their items,
/// "(0008,1140)[2]."; empty at the top level.
std::string PathWords(const DicomElement& element, ItemNumbers* numbers = nullptr);
/// An element in words: its path and tag; items by their number, of pixel data as fragments.
std::string PlaceWords(const DicomElement& element);
}  // namespace talv
