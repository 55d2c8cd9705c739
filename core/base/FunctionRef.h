// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace varnel {

template <typename Signature>
class FunctionRef;

/// A callable that is borrowed for the length of one call: no allocation, never stored.
template <typename Result, typename... Arguments>
class FunctionRef<Result(Arguments...)> {
public:
    template <typename Callable>
    requires(!std::is_same_v<std::remove_cvref_t<Callable>, FunctionRef> &&
             !std::is_function_v<std::remove_pointer_t<std::remove_reference_t<Callable>>> &&
             std::is_invocable_r_v<Result, Callable&, Arguments...>)
        FunctionRef(Callable&& callable)  // NOLINT(google-explicit-constructor): a lambda is handed over as it stands
        : call_([](Target target, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Callable>*>(target.object))(
                  std::forward<Arguments>(arguments)...);
          }) {
        target_.object = const_cast<void*>(static_cast<const void*>(std::addressof(callable)));
    }

    FunctionRef(Result (*function)(Arguments...))  // NOLINT(google-explicit-constructor): as above
        : call_([](Target target, Arguments... arguments) -> Result {
              return target.function(std::forward<Arguments>(arguments)...);
          }) {
        target_.function = function;
    }

    Result operator()(Arguments... arguments) const { return call_(target_, std::forward<Arguments>(arguments)...); }

private:
    union Target {
        void* object = nullptr;
        Result (*function)(Arguments...);
    };

    Target target_;
    Result (*call_)(Target, Arguments...);
};

}  // namespace varnel
