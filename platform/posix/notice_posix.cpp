#include <cstdio>

#include "platform/desktop.h"
#include "platform/notice.h"

namespace talv {
void ShowOnDesktop(const char* text, const char* title, uint32_t)
{
    std::fprintf(stderr, "%s: %s\n", title, text);
}

WaitCursor::WaitCursor()
{
    (void)previous_;
}
WaitCursor::~WaitCursor() = default;
}  // namespace talv
