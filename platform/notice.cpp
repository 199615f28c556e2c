#include "platform/notice.h"

#include <mutex>

#include "platform/desktop.h"
#include "platform/lock.h"

namespace talv {
namespace {
// Guards the two fields below, which change together; never held while a notice is shown.
Lock sinkLock;
NoticeSink currentSink = nullptr;
void* currentContext = nullptr;
}  // namespace

void SetNoticeSink(NoticeSink sink, void* context)
{
    const std::lock_guard guard(sinkLock);
    currentSink = sink;
    currentContext = context;
}

void ShowNotice(const char* text, const char* title, uint32_t style)
{
    NoticeSink sink;
    void* context;
    {
        const std::lock_guard guard(sinkLock);
        sink = currentSink;
        context = currentContext;
    }
    if (sink != nullptr)
        sink(text, title, style, context);
    else
        ShowOnDesktop(text, title, style);
}
}  // namespace talv
