#pragma once

namespace talv {
/// Writes what leads the framework from a file to a source filter: the extensions ".dic" and ".dcm" and the
/// byte pattern of a DICOM file. 1, or 0 at the first key that cannot be created.
int WriteFileTypeKeys();
/// Removes them, tolerating what is missing; a key that something else uses stays. Always 1.
int RemoveFileTypeKeys();
}  // namespace talv
