#pragma once

#include <string>
#include <vector>

#include "dicom/data_set.h"

namespace talv {
/// The data set in the DICOM JSON model (PS3.18 F.2). Binary values of more than 4096 bytes, and pixel data
/// in fragments, are named by their place: BulkDataURI "FILE?offset=N&length=N".
std::string DataSetAsJson(DicomDataSet* dataSet, const std::string& file);
/// An array of such objects, each with "path" beside: where the element stands.
std::string ElementsAsJson(DicomDataSet* dataSet, const std::string& file,
                           const std::vector<DicomElement*>& elements);
}  // namespace talv
