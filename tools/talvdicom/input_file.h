#pragma once

#include <filesystem>
#include <string>

namespace talv {
/// A file that the core can open by name. Standard input, a named pipe, and a file whose name the core cannot
/// take (too long, or without a form in the system's narrow encoding), are copied into a temporary file
/// first.
class InputFile
{
  public:
    InputFile() = default;
    ~InputFile() { RemoveCopy(); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// `name` in UTF-8, "-" for standard input. False, with the reason in `refusal`, when there is nothing to
    /// open.
    bool Prepare(const std::string& name, std::string* refusal);
    /// In the system's narrow encoding.
    const std::string& Name() const { return name_; }
    /// Removes the temporary copy as soon as the system lets it go; a file that is open may stay readable.
    void RemoveCopy();

  private:
    bool CopyFrom(const std::filesystem::path* source, std::string* refusal);

    std::string name_;
    std::filesystem::path copy_;
};
}  // namespace talv
