#pragma once

#include <cstdint>
#include <string_view>

#include "dicom/value_records.h"

// From the text of one value (what stands between two backslashes) to its native form. Nothing here depends
// on the locale, fails or reads beyond the text: what is missing or unreadable counts as zero.

namespace talv {
/// The text up to its first NUL, without leading and trailing blanks.
std::string_view TrimValue(std::string_view text);

/// The longest decimal number the text begins with, white space before it aside; 0 when it begins with none,
/// infinity beyond the range of double.
double ParseDecimal(std::string_view text);
/// The longest whole number the text begins with, likewise, saturating; 0 when it begins with none.
int64_t ParseInteger(std::string_view text);

DicomAge ParseAge(std::string_view text);            ///< 3 digits, unit letter
DicomDate ParseDate(std::string_view text);          ///< YYYYMMDD or YYYY.MM.DD, ranges with a hyphen
DicomTime ParseTime(std::string_view text);          ///< HHMMSS.F or HH:MM:SS.F, ranges with a hyphen
DicomDateTime ParseDateTime(std::string_view text);  ///< YYYYMMDDHHMMSS.F&ZZZZ
}  // namespace talv
