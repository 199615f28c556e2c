#pragma once

#include "dicom/data_set.h"

namespace talv {
/// In a directory file, replaces the link that one record of a multi-referenced file has to another
/// (0004,1504) by that record's Referenced File ID. Other data sets are left alone.
class DirectoryLinker
{
  public:
    explicit DirectoryLinker(DicomDataSet* dataSet) : dataSet_(dataSet) {}
    /// Throws std::bad_alloc.
    void Run();

  private:
    DicomElement* Child(DicomElement* record, uint32_t tag);
    void CopyFileId(DicomElement* from, DicomElement* to);
    DicomDataSet* dataSet_;
};
}  // namespace talv
