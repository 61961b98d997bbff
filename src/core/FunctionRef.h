// A callable passed down a call without being copied: unlike std::function it
// never allocates, so handing a body to the export frame cannot fail before the
// frame's barrier is in place. It refers to the callable (a lambda, a function
// object or a function), which must outlive the call it is passed to.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace tolvik {

template <class Signature>
class FunctionRef;

template <class R, class... Args>
class FunctionRef<R(Args...)> {
public:
    template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, FunctionRef> &&
                                                std::is_invocable_r_v<R, F&, Args...>>>
    FunctionRef(F&& callable) noexcept  // converts implicitly, as std::function does
    {
        using T = std::remove_reference_t<F>;
        if constexpr (std::is_function_v<T>) {
            target_.function = reinterpret_cast<void (*)()>(&callable);
            call_ = [](Target target, Args... args) -> R {
                return reinterpret_cast<T*>(target.function)(std::forward<Args>(args)...);
            };
        } else {
            target_.object = const_cast<void*>(static_cast<const void*>(std::addressof(callable)));
            call_ = [](Target target, Args... args) -> R {
                return (*static_cast<T*>(target.object))(std::forward<Args>(args)...);
            };
        }
    }

    R operator()(Args... args) const { return call_(target_, std::forward<Args>(args)...); }

private:
    union Target {
        void* object;
        void (*function)();
    };
    Target target_{};
    R (*call_)(Target, Args...) = nullptr;
};

}  // namespace tolvik
