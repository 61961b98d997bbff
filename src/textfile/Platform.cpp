#include "Platform.h"

#include "../core/AttributeList.h"

#include <atomic>

namespace tolvik {

namespace {
std::atomic<Platform*> g_platform{nullptr};
std::atomic<MessageHook> g_messageHook{nullptr};
// Export calls running on this thread (nested ones included), and whether the
// outermost has shown its message box.
thread_local int t_callDepth = 0;
thread_local bool t_messageShown = false;
}  // namespace

CallScope::CallScope() noexcept
{
    if (t_callDepth++ == 0)
        t_messageShown = false;
}

CallScope::~CallScope()
{
    --t_callDepth;
}

Platform& CurrentPlatform()
{
    Platform* platform = g_platform.load();
    return platform ? *platform : NativePlatform();
}

Platform* SetPlatform(Platform* platform)
{
    Platform* previous = g_platform.exchange(platform);
    return previous ? previous : &NativePlatform();
}

void ShowMessage(const char* text, const char* caption, std::uint32_t style)
{
    if (t_callDepth > 0) {
        if (t_messageShown)
            return;
        t_messageShown = true;
    }
    if (MessageHook hook = g_messageHook.load()) {
        hook(text, caption, style);
        return;
    }
    CurrentPlatform().ShowMessage(text, caption, style);
}

void ReportListOverflow()
{
    ShowMessage("Internal error in CAttributeList::AddAttribute. List overflow!", "Tolvik32.DLL",
                0x10);  // the stop icon
}

void SetMessageHook(MessageHook hook)
{
    g_messageHook.store(hook);
}

}  // namespace tolvik
