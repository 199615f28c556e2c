#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/support/byte_writer.h"

namespace talv {
/// A file with the given content in the system's temporary directory, removed when the object goes.
class TemporaryFile
{
  public:
    explicit TemporaryFile(const ByteVector& content, std::string_view extension = ".dcm");
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const char* Path() const { return path_.c_str(); }
    /// Replaces the content, keeping the name.
    void Rewrite(const ByteVector& content) const;

  private:
    std::string path_;
};

/// The content of `path`; empty when it cannot be read.
ByteVector ReadWholeFile(const std::string& path);
}  // namespace talv
