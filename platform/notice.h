#pragma once

#include <cstdint>

namespace talv {
/// Message box styles, as the Windows API numbers them.
inline constexpr uint32_t kNoticePlain = 0x0000;        ///< OK button only
inline constexpr uint32_t kNoticeExclamation = 0x2030;  ///< task-modal, exclamation icon

/// Tells the user something and waits for the answer where a desktop can show a box; elsewhere the text goes
/// to the debug output (Windows) or standard error only, so that a session without a desktop never blocks.
/// With the environment variable TALV_NO_NOTICE set, the text goes to standard error and no box appears.
void ShowNotice(const char* text, const char* title, uint32_t style);

/// Replaces the box, for tests and for hosts with a display of their own; null restores it.
using NoticeSink = void (*)(const char* text, const char* title, uint32_t style, void* context);
void SetNoticeSink(NoticeSink sink, void* context);

/// Shows the hourglass while it lives, then the cursor that was there before.
class WaitCursor
{
  public:
    WaitCursor();
    ~WaitCursor();
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;

  private:
    void* previous_ = nullptr;
};
}  // namespace talv
