#include "Platform.h"

#include <atomic>

namespace tolvik {

namespace {
std::atomic<Platform*> g_platform{nullptr};
std::atomic<MessageHook> g_messageHook{nullptr};
}  // namespace

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
    if (MessageHook hook = g_messageHook.load()) {
        hook(text, caption, style);
        return;
    }
    CurrentPlatform().ShowMessage(text, caption, style);
}

void SetMessageHook(MessageHook hook)
{
    g_messageHook.store(hook);
}

}  // namespace tolvik
