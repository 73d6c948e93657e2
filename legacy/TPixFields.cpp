// Field views of a record, and the states that are saved while preparations nest.

#include "LiveRecord.h"
#include "TPix.h"
#include "VideoFrameGeometry.h"

#include <cstdint>
#include <cstring>
#include <utility>

using VF::Details::LiveRecord;
using VF::Details::OffsetPointer;
using VF::Details::WrappingProduct;

namespace {

/// One item of a record's fieldsStack, which other modules read, too.
struct SavedFields {
    std::uint8_t* fieldsBase;
    std::uint8_t* field0Base;
    std::uint8_t* field1Base;
    std::int64_t fieldMode;
    std::uint8_t* pixels;
    std::int32_t rowbytes;
    std::int32_t padding;
};
static_assert(sizeof(SavedFields) == 48);

/// Locks a handle while it lives.
class HandleLock {
public:
    explicit HandleLock(KxHandle handle) noexcept : mHandle(handle) { KxHLock(mHandle); }
    ~HandleLock() { KxHUnlock(mHandle); }
    HandleLock(const HandleLock&) = delete;
    HandleLock& operator=(const HandleLock&) = delete;

private:
    KxHandle mHandle;
};

bool Save(TPixHand hand) {
    const HandleLock lock(reinterpret_cast<KxHandle>(hand));
    TPix& record = **hand;
    const bool isFirst = record.fieldsStack == nullptr;
    if (isFirst) {
        record.fieldsStack = KxNewHandle(0);
    }
    const SavedFields item{
        record.fieldsBase, record.field0Base, record.field1Base, record.fieldMode, record.pixels, record.rowbytes, 0};
    if (InsertHandItem(-1, record.fieldsStack, sizeof item, &item) != kKxNoError) {
        if (isFirst) {
            KxDisposeHandle(std::exchange(record.fieldsStack, nullptr));
        }
        return false;
    }
    return true;
}

void Restore(TPix& record) {
    const std::size_t count = KxGetHandleSize(record.fieldsStack) / sizeof(SavedFields);
    if (count > 0) {
        SavedFields item;
        std::memcpy(&item, *record.fieldsStack + (count - 1) * sizeof item, sizeof item);
        record.pixels = item.pixels;
        record.fieldsBase = item.fieldsBase;
        record.field0Base = item.field0Base;
        record.field1Base = item.field1Base;
        record.fieldMode = item.fieldMode;
        record.rowbytes = item.rowbytes;
    }
    if (count > 1) {
        KxSetHandleSize(record.fieldsStack, (count - 1) * sizeof(SavedFields));
    } else {
        KxDisposeHandle(std::exchange(record.fieldsStack, nullptr));
    }
}

bool HasEvenHeight(const RECT& bounds) noexcept {
    return ((static_cast<std::uint32_t>(bounds.bottom) - static_cast<std::uint32_t>(bounds.top)) & 1U) == 0;
}

} // namespace

void TPixFieldsPrep(TPixHand inHand, std::uint8_t inFlag) {
    TPix* const record = LiveRecord(inHand);
    if (!record) {
        return;
    }
    if (record->fieldsBase) {
        if (!Save(inHand)) {
            return;
        }
        if (record->fieldMode == 0) {
            record->pixels = record->fieldsBase;
        }
    }
    record->fieldsBase = record->pixels;
    record->fieldMode = 0;
    auto* const secondRow = static_cast<std::uint8_t*>(OffsetPointer(record->pixels, record->rowbytes));
    // Rows are stored from the bottom, so of an even number the second one has the parity of the picture's top line.
    const bool field0IsFirst = HasEvenHeight(record->bounds) == (inFlag != 1);
    record->field0Base = field0IsFirst ? record->pixels : secondRow;
    record->field1Base = field0IsFirst ? secondRow : record->pixels;
}

TPix* TPixFields_PointAtField(TPixHand inHand, std::int8_t inWhich) {
    TPix* const record = LiveRecord(inHand);
    if (!record || inWhich < 0 || inWhich > 1) {
        return record;
    }
    record->pixels = inWhich == 0 ? record->field0Base : record->field1Base;
    if (record->fieldMode == 0) {
        record->rowbytes = WrappingProduct(record->rowbytes, 2);
    }
    record->fieldMode = inWhich + 1;
    return record;
}

void TPixFields_PointAtFull(TPixHand inHand) {
    TPix* const record = LiveRecord(inHand);
    if (!record || !record->fieldsBase) {
        return;
    }
    record->pixels = record->fieldsBase;
    if (record->fieldMode != 0) {
        record->rowbytes >>= 1;
        record->fieldMode = 0;
    }
}

void TPixFieldsCleanup(TPixHand inHand) {
    TPix* const record = LiveRecord(inHand);
    if (!record) {
        return;
    }
    if (record->fieldsBase) {
        TPixFields_PointAtFull(inHand);
        record->fieldsBase = record->field0Base = record->field1Base = nullptr;
    }
    if (record->fieldsStack) {
        Restore(*record);
    }
}

TPixHand TPixFieldsClone(TPixHand inHand) {
    const TPix* const source = LiveRecord(inHand);
    if (!source) {
        return nullptr;
    }
    RECT bounds = source->bounds;
    if (!source->fieldsBase || source->fieldMode == 0) {
        return tpixNew(&bounds);
    }
    bounds.bottom = WrappingProduct(bounds.bottom, 2);
    TPixHand const clone = tpixNew(&bounds);
    if (!clone) {
        return nullptr;
    }
    TPixFieldsPrep(clone, 1);
    TPix& record = **clone;
    record.bounds.bottom /= 2;
    if (source->field0Base > source->field1Base && record.field0Base < record.field1Base) {
        std::swap(record.field0Base, record.field1Base);
    }
    TPixFields_PointAtField(clone, static_cast<std::int8_t>(source->fieldMode - 1));
    return clone;
}

void TPixFieldsCloneFree(TPixHand inHand) {
    if (!inHand) {
        return;
    }
    const TPix* const record = LiveRecord(inHand);
    if (record && record->fieldsBase) {
        TPixFieldsCleanup(inHand);
    }
    tpixDispose(inHand);
}
