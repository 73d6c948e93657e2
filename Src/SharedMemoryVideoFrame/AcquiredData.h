#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <utility>

namespace VF::Details {

/// A broker reference together with the data pointer acquired through it, which it gives back before it lets go.
template <class Reference>
class AcquiredData {
public:
    AcquiredData() noexcept = default;

    /// Acquires the pointer; it stays null when the reference is empty or has no data.
    explicit AcquiredData(boost::shared_ptr<Reference> reference) : mReference(std::move(reference)) {
        mData = mReference ? mReference->AcquireDataPointer() : nullptr;
    }
    AcquiredData(AcquiredData&& other) noexcept
        : mReference(std::move(other.mReference)), mData(std::exchange(other.mData, nullptr)) {}
    AcquiredData& operator=(AcquiredData&& other) noexcept {
        std::swap(mReference, other.mReference);
        std::swap(mData, other.mData);
        return *this;
    }
    AcquiredData(const AcquiredData&) = delete;
    AcquiredData& operator=(const AcquiredData&) = delete;
    ~AcquiredData() { ReleaseData(); }

    /// Gives the pointer back and keeps the reference.
    void ReleaseData() {
        if (mReference && mData) {
            mReference->ReleaseDataPointer(std::exchange(mData, nullptr));
        }
    }

    auto* Data() const noexcept { return mData; }
    const boost::shared_ptr<Reference>& GetReference() const noexcept { return mReference; }
    std::uint64_t SizeInBytes() const { return mReference ? mReference->GetSize() : 0; }

private:
    using Pointer = decltype(std::declval<Reference&>().AcquireDataPointer());

    boost::shared_ptr<Reference> mReference;
    Pointer mData = nullptr;
};

} // namespace VF::Details
