#include "platform/notice.h"

#include <mutex>

#include "platform/desktop.h"

namespace talv {
namespace {
// Guards the two fields below, which change together; never held while a notice is shown.
std::mutex sinkMutex;
NoticeSink currentSink = nullptr;
void* currentContext = nullptr;
}  // namespace

void SetNoticeSink(NoticeSink sink, void* context)
{
    const std::lock_guard lock(sinkMutex);
    currentSink = sink;
    currentContext = context;
}

void ShowNotice(const char* text, const char* title, uint32_t style)
{
    NoticeSink sink;
    void* context;
    {
        const std::lock_guard lock(sinkMutex);
        sink = currentSink;
        context = currentContext;
    }
    if (sink != nullptr)
        sink(text, title, style, context);
    else
        ShowOnDesktop(text, title, style);
}
}  // namespace talv
