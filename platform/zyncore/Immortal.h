#pragma once

/// Storage for process-wide state that is never destroyed. Objects may outlive the last stop call and even the static
/// destructors of other libraries, so the state they use must stay alive; the storage is static, which keeps
/// everything it owns reachable for leak checkers.

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace zyncore::detail {

/// Holds a T that is constructed with the Immortal and never destroyed. Use it as a function-local static.
template <class T>
class Immortal {
public:
    template <class... Arguments>
    explicit Immortal(Arguments&&... arguments) {
        std::construct_at(reinterpret_cast<T*>(mStorage), std::forward<Arguments>(arguments)...);
    }
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T& Get() noexcept { return *std::launder(reinterpret_cast<T*>(mStorage)); }

private:
    alignas(T) std::byte mStorage[sizeof(T)];
};

} // namespace zyncore::detail
