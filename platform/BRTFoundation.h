#pragma once

/// The suite's foundation library: the base of all interfaces, counted references, exceptions, locks, object memory and
/// the memory recycler.

#include "SymbolVisibility.h"
#include "zyncore.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <type_traits>
#include <utility>

#if defined(BRTFoundation_EXPORTS)
#define BRTFOUNDATION_API VF_SYMBOL_EXPORT
#else
#define BRTFOUNDATION_API VF_SYMBOL_IMPORT
#endif

/// Four signed 32-bit words left, top, right, bottom; right and bottom are exclusive. Rows count from the top.
struct CRect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
    friend constexpr bool operator==(const CRect&, const CRect&) noexcept = default;
};

/// Two signed 32-bit words x, y.
struct CPoint {
    std::int32_t x = 0;
    std::int32_t y = 0;
    friend constexpr bool operator==(const CPoint&, const CPoint&) noexcept = default;
};

namespace BRT {

using ::CPoint;
using ::CRect;

/// Result codes shared by the suite: signed 32-bit, 0 for success, negative for failure.
inline constexpr std::int32_t kResult_Success = 0;
inline constexpr std::int32_t kResult_NoSuchInterface = static_cast<std::int32_t>(0xA00A0001u);

/// A rectangle that passes through interfaces. Width and height wrap as 32-bit words when the edges lie further apart.
template <class Rect>
struct ParamRect : Rect {
    constexpr ParamRect() noexcept = default;
    constexpr ParamRect(const Rect& rect) noexcept : Rect(rect) {} // NOLINT(google-explicit-constructor)
    constexpr ParamRect(std::int32_t inLeft, std::int32_t inTop, std::int32_t inRight, std::int32_t inBottom) noexcept
        : Rect{inLeft, inTop, inRight, inBottom} {}
    constexpr std::int32_t Width() const noexcept {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(this->right) -
                                         static_cast<std::uint32_t>(this->left));
    }
    constexpr std::int32_t Height() const noexcept {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(this->bottom) -
                                         static_cast<std::uint32_t>(this->top));
    }
    friend constexpr bool operator==(const ParamRect&, const ParamRect&) noexcept = default;
};
static_assert(sizeof(ParamRect<CRect>) == 16);

/// A point that passes through interfaces.
template <class Point>
struct ParamPoint : Point {
    constexpr ParamPoint() noexcept = default;
    constexpr ParamPoint(const Point& point) noexcept : Point(point) {} // NOLINT(google-explicit-constructor)
    constexpr ParamPoint(std::int32_t inX, std::int32_t inY) noexcept : Point{inX, inY} {}
    friend constexpr bool operator==(const ParamPoint&, const ParamPoint&) noexcept = default;
};
static_assert(sizeof(ParamPoint<CPoint>) == 8);

/// Base of the suite's exceptions.
class BRTFOUNDATION_API Exception : public std::exception {
public:
    Exception() noexcept = default;
    Exception(const Exception&) noexcept = default;
    Exception& operator=(const Exception&) noexcept = default;
    ~Exception() override;
    const char* what() const noexcept override;
};

/// Thrown by a call through an empty InterfaceRef.
class BRTFOUNDATION_API NullInterfaceException : public Exception {
public:
    NullInterfaceException() noexcept = default;
    NullInterfaceException(const NullInterfaceException&) noexcept = default;
    NullInterfaceException& operator=(const NullInterfaceException&) noexcept = default;
    ~NullInterfaceException() override;
    const char* what() const noexcept override;
};

/// Throws NullInterfaceException. Out of line so that every call through a reference stays small.
[[noreturn]] BRTFOUNDATION_API void ThrowNullInterface();

/// Base of every interface. The table is fixed; slot 2 is one slot, so interfaces never have a C++ virtual destructor.
/// Each interface of an object repeats this base; identity is the pointer that a query for BRTUnknown answers.
class VF_SYMBOL_EXPORT BRTUnknown {
public:
    /// {4F9CB3F7-C5DF-4F33-B5A5-784CDF9C3FB9}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x4F9CB3F7, 0xC5DF, 0x4F33, {0xB5, 0xA5, 0x78, 0x4C, 0xDF, 0x9C, 0x3F, 0xB9}};

    /// Slot 0. Adds a reference (atomic). Returns the new count, which other threads may have changed already.
    virtual std::uint32_t AddRef() = 0;

    /// Slot 1. Drops a reference (atomic). The call that takes the count from 1 to 0 calls slot 2 with flag 1. Returns
    /// the new count.
    virtual std::uint32_t Release() = 0;

    /// Slot 2. Destroys the object and, when bit 0 of flags is set, frees its storage. Returns the storage.
    virtual void* DeletingDestructor(unsigned int flags) = 0;

    /// Slot 3. Stores a counted interface pointer in outInterface and returns 0, or stores null and returns
    /// kResult_NoSuchInterface. outInterface must not be null. Never throws.
    virtual std::int32_t QueryInterface(const zyncore::utility::Guid& iid, void** outInterface) = 0;

protected:
    ~BRTUnknown() = default;
};

/// Counted reference to an interface. A call through an empty reference throws NullInterfaceException. One InterfaceRef
/// must not be changed by two threads at once; two references to one object may be used from two threads.
template <class T>
class InterfaceRef {
public:
    constexpr InterfaceRef() noexcept = default;
    constexpr InterfaceRef(std::nullptr_t) noexcept {} // NOLINT(google-explicit-constructor)

    /// Takes a reference of its own on the object (null gives an empty reference).
    explicit InterfaceRef(T* object) : mObject(object) {
        if (mObject) {
            mObject->AddRef();
        }
    }
    InterfaceRef(const InterfaceRef& other) : InterfaceRef(other.mObject) {}
    InterfaceRef(InterfaceRef&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    InterfaceRef& operator=(const InterfaceRef& other) {
        if (this != &other) {
            InterfaceRef(other).Swap(*this);
        }
        return *this;
    }
    InterfaceRef& operator=(InterfaceRef&& other) noexcept {
        InterfaceRef(std::move(other)).Swap(*this);
        return *this;
    }
    InterfaceRef& operator=(std::nullptr_t) noexcept {
        Reset();
        return *this;
    }
    ~InterfaceRef() {
        if (mObject) {
            mObject->Release();
        }
    }

    /// Takes over a reference that the caller already holds, such as the one QueryInterface stored.
    static InterfaceRef Adopt(T* object) noexcept {
        InterfaceRef ref;
        ref.mObject = object;
        return ref;
    }

    T* operator->() const {
        if (!mObject) {
            ThrowNullInterface();
        }
        return mObject;
    }
    T& operator*() const { return *operator->(); }

    /// The object without a reference of its own, null when empty.
    T* GetPtr() const noexcept { return mObject; }
    explicit operator bool() const noexcept { return mObject != nullptr; }
    void Reset() noexcept { InterfaceRef().Swap(*this); }
    void Swap(InterfaceRef& other) noexcept { std::swap(mObject, other.mObject); }

    /// Compares the pointers; for identity of objects compare references to one and the same interface type.
    friend bool operator==(const InterfaceRef& a, const InterfaceRef& b) noexcept { return a.mObject == b.mObject; }
    friend bool operator==(const InterfaceRef& a, std::nullptr_t) noexcept { return a.mObject == nullptr; }

private:
    T* mObject = nullptr;
};

/// Asks the object behind a reference for another interface. Empty when the reference is empty or the object does not
/// offer the interface; never throws.
template <class T, class U>
InterfaceRef<T> QueryInterface(const InterfaceRef<U>& ref) noexcept {
    void* found = nullptr;
    if (ref.GetPtr()) {
        ref.GetPtr()->QueryInterface(T::kInterfaceID, &found);
    }
    return InterfaceRef<T>::Adopt(static_cast<T*>(found));
}

/// The count behind AddRef and Release. Starts at 0.
class ReferenceCount {
public:
    std::uint32_t Increment() noexcept { return mCount.fetch_add(1, std::memory_order_relaxed) + 1; }

    /// Returns the new count. The caller that gets 0 sees everything that other threads did before their own calls.
    std::uint32_t Decrement() noexcept { return mCount.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<std::uint32_t> mCount{0};
};
static_assert(sizeof(ReferenceCount) == 4);

/// Memory of reference-counted objects. Works before Foundation::Initialize and after Foundation::Terminate.
class Allocator {
public:
    /// Returns sizeInBytes bytes aligned for any scalar type; throws std::bad_alloc when memory is exhausted.
    BRTFOUNDATION_API static void* Allocate(std::size_t sizeInBytes);

    /// Gives a block back. sizeInBytes must be the size it was allocated with; a null block is ignored.
    BRTFOUNDATION_API static void Dispose(void* block, std::size_t sizeInBytes) noexcept;
};

/// Base of classes whose objects live in Allocator memory.
class Allocated {
public:
    // The allocator wants the size back, so only the sized operator delete exists.
    static void* operator new(std::size_t sizeInBytes) { // NOLINT(misc-new-delete-overloads)
        return Allocator::Allocate(sizeInBytes);
    }
    static void operator delete(void* block, std::size_t sizeInBytes) noexcept {
        Allocator::Dispose(block, sizeInBytes);
    }

protected:
    ~Allocated() = default;
};

/// Recursive lock.
class CriticalSection {
public:
    CriticalSection() = default;
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    void Enter() { mMutex.lock(); }
    bool TryEnter() noexcept { return mMutex.try_lock(); }
    void Leave() noexcept { mMutex.unlock(); }

private:
    std::recursive_mutex mMutex;
};

/// Holds a CriticalSection for its scope. The label names the operation that holds the lock and must outlive the
/// scope (a literal); a debugger or the holder's thread can read it through CurrentLabel.
class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& section, const char* label = nullptr) : mSection(section) {
        mSection.Enter();
        mPreviousLabel = std::exchange(LabelOfThread(), label ? label : LabelOfThread());
    }
    ~CriticalSectionLock() {
        LabelOfThread() = mPreviousLabel;
        mSection.Leave();
    }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

    /// The innermost label that this thread holds a lock under, null without one.
    static const char* CurrentLabel() noexcept { return LabelOfThread(); }

private:
    BRTFOUNDATION_API static const char*& LabelOfThread() noexcept;
    CriticalSection& mSection;
    const char* mPreviousLabel = nullptr;
};

/// Recycles large buffers by size, so that frames of a repeated size cost neither an allocation nor a page fault.
///
/// Buffers are aligned to 64 bytes and come from size classes that waste at most 1/8 of the size asked for (sizes below
/// 512 bytes: what rounding up to the alignment takes); from 2 MiB on they are aligned to and ask for huge pages.
/// Returned buffers are kept idle up to a limit of bytes, the oldest making room for a new one. Idle buffers that have
/// waited for the idle time are given back to the system at the next call after it (an allocation that such a buffer
/// fits still takes it), and all of them at the last Foundation::Terminate; buffers returned after that are given back
/// at once, until the next allocation that takes fresh memory. All operations are safe on every thread, also before
/// Foundation::Initialize and after Foundation::Terminate.
///
/// Under the address sanitizer idle buffers and the bytes behind the size asked for are marked, so that their use is
/// reported.
class MemoryRecycler {
public:
    /// A buffer and its size. sizeInBytes is the size asked for; data is null in an empty buffer.
    struct MemoryBuffer {
        void* data = nullptr;
        std::uint64_t sizeInBytes = 0;
    };

    /// What the recycler did and holds. The counters only grow; the byte figures are current.
    struct Statistics {
        std::uint64_t hits = 0;          ///< allocations served from an idle buffer
        std::uint64_t misses = 0;        ///< allocations that took fresh memory from the system
        std::uint64_t bytesRecycled = 0; ///< bytes of all hits, as asked for
        std::uint64_t bytesInUse = 0;    ///< bytes of buffers that callers hold, class slack included
        std::uint64_t bytesIdle = 0;     ///< bytes of buffers kept for reuse
        std::uint64_t buffersInUse = 0;
    };

    /// The recycler of the process. Never destroyed.
    BRTFOUNDATION_API static MemoryRecycler& Instance() noexcept;

    /// Returns a buffer of at least sizeInBytes bytes, contents undefined. Throws std::bad_alloc when memory is
    /// exhausted or the size cannot exist. A size of 0 gives an empty buffer.
    BRTFOUNDATION_API MemoryBuffer AllocateBuffer(std::uint64_t sizeInBytes);

    /// Takes back a buffer that AllocateBuffer returned, unchanged. An empty buffer is ignored.
    BRTFOUNDATION_API void RecycleBuffer(const MemoryBuffer& buffer) noexcept;

    /// Gives all idle buffers back to the system.
    BRTFOUNDATION_API void ReleaseIdleBuffers() noexcept;

    /// Limit of idle bytes (default kDefaultIdleLimit). A smaller limit takes effect at once, oldest buffers first.
    BRTFOUNDATION_API void SetIdleLimit(std::uint64_t bytes) noexcept;

    BRTFOUNDATION_API Statistics GetStatistics() const noexcept;

    /// Replaces the clock that measures idle time, in nanoseconds; null restores the system's steady clock (its coarse
    /// form, some milliseconds late). Buffers that are idle at this moment count as returned now. The clock may be
    /// asked on every thread and must not throw. For tests.
    using Clock = std::int64_t (*)();
    BRTFOUNDATION_API void SetClock(Clock clock) noexcept;

    MemoryRecycler(const MemoryRecycler&) = delete;
    MemoryRecycler& operator=(const MemoryRecycler&) = delete;

    /// Idle time after which a buffer is given back, in nanoseconds (10 seconds: longer than a user's pause between
    /// two actions, shorter than the wait for another program to miss the memory).
    static constexpr std::int64_t kIdleTimeInNanoseconds = 10'000'000'000;

    /// Default limit of idle bytes: 1 GiB, some 120 frames of 1080p BGRA.
    static constexpr std::uint64_t kDefaultIdleLimit = std::uint64_t{1} << 30;

private:
    friend class Foundation;
    MemoryRecycler();
    ~MemoryRecycler() = default;
    /// Gives all idle buffers back and keeps no returned buffer until fresh memory is asked for again.
    void StopKeeping() noexcept;
    struct State;
    State* mState;
};

/// Start and stop of the foundation library. Calls are counted; the last Terminate gives idle memory back. A Terminate
/// without a matching Initialize is ignored. Safe on every thread.
class Foundation {
public:
    BRTFOUNDATION_API static void Initialize() noexcept;
    BRTFOUNDATION_API static void Terminate() noexcept;

    /// Number of Initialize calls without a matching Terminate.
    BRTFOUNDATION_API static std::uint32_t InitializationCount() noexcept;
};

} // namespace BRT
