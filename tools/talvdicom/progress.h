#pragma once

#include <cstdint>
#include <string>

namespace talv {
/// A line on standard error that tells how far long work has come; silent where that is no terminal.
class Progress
{
  public:
    Progress(std::string what, int64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void Show(int64_t done);
    /// Takes the line away, so that a message can be written.
    void Clear();

  private:
    std::string what_;
    int64_t total_;
    bool visible_;
    bool drawn_ = false;
    uint32_t lastDraw_ = 0;
};
}  // namespace talv
