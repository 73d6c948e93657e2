#include "dv/CoderPool.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <array>
#include <mutex>

namespace PixelBlitter::dv {
namespace {

// One for each processor of a common machine; each keeps one or two pictures, 1 to 6 MB.
constexpr std::size_t kMaxIdle = 16;

// The first idle entries are filled, the one that came back last is the last.
struct Pool {
    std::mutex mutex;
    std::array<std::unique_ptr<Coder>, kMaxIdle> coders;
    std::size_t idle = 0;
};

// Never destroyed: frames that outlive the process's static objects may still be converted.
Pool& ThePool() noexcept {
    static zyncore::detail::Immortal<Pool> pool;
    return pool.Get();
}

std::unique_ptr<Coder> TakeIdle(const Kind& kind, Task task) noexcept {
    Pool& pool = ThePool();
    const std::lock_guard lock(pool.mutex);
    for (std::size_t i = pool.idle; i-- > 0;) {
        if (pool.coders[i]->Does(kind, task)) {
            std::unique_ptr<Coder> coder = std::move(pool.coders[i]);
            std::move(&pool.coders[i] + 1, pool.coders.data() + pool.idle, &pool.coders[i]);
            --pool.idle;
            return coder;
        }
    }
    return nullptr;
}

// Returns the one that has waited longest when there are too many, to be closed outside the lock.
std::unique_ptr<Coder> KeepIdle(std::unique_ptr<Coder> coder) noexcept {
    Pool& pool = ThePool();
    const std::lock_guard lock(pool.mutex);
    std::unique_ptr<Coder> oldest;
    if (pool.idle == kMaxIdle) {
        oldest = std::move(pool.coders[0]);
        std::move(pool.coders.begin() + 1, pool.coders.end(), pool.coders.begin());
        --pool.idle;
    }
    pool.coders[pool.idle++] = std::move(coder);
    return oldest;
}

} // namespace

CoderLoan::CoderLoan(const Kind& kind, Task task) noexcept : mCoder(TakeIdle(kind, task)) {
    if (!mCoder) {
        mCoder = Coder::Open(kind, task, mResult);
    }
}

CoderLoan::~CoderLoan() {
    if (mCoder && mCoder->IsReusable()) {
        mCoder->ReleasePlanes();
        KeepIdle(std::move(mCoder));
    }
}

void CloseIdleCoders() noexcept {
    std::array<std::unique_ptr<Coder>, kMaxIdle> closing;
    Pool& pool = ThePool();
    const std::lock_guard lock(pool.mutex);
    closing.swap(pool.coders);
    pool.idle = 0;
}

} // namespace PixelBlitter::dv
