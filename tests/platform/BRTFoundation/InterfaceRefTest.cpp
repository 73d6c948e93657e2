#include "BRTFoundation.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using namespace BRT;

class IFirst : public BRTUnknown {
public:
    static constexpr zyncore::utility::Guid kInterfaceID{1, 0, 0, {}};
};
class ISecond : public BRTUnknown {
public:
    static constexpr zyncore::utility::Guid kInterfaceID{2, 0, 0, {}};
    virtual int Answer() = 0;
};

class Object final : public IFirst, public ISecond, public Allocated {
public:
    explicit Object(int& alive) : mAlive(alive) { ++mAlive; }

    std::uint32_t AddRef() override { return mCount.Increment(); }
    std::uint32_t Release() override {
        const std::uint32_t count = mCount.Decrement();
        if (count == 0) {
            DeletingDestructor(1);
        }
        return count;
    }
    void* DeletingDestructor(unsigned int flags) override {
        void* storage = this;
        if (flags & 1) {
            delete this;
        } else {
            this->~Object();
        }
        return storage;
    }
    std::int32_t QueryInterface(const zyncore::utility::Guid& iid, void** outInterface) override {
        if (iid == BRTUnknown::kInterfaceID || iid == IFirst::kInterfaceID) {
            *outInterface = static_cast<IFirst*>(this);
        } else if (iid == ISecond::kInterfaceID) {
            *outInterface = static_cast<ISecond*>(this);
        } else {
            *outInterface = nullptr;
            return kResult_NoSuchInterface;
        }
        AddRef();
        return kResult_Success;
    }
    int Answer() override { return 42; }

private:
    ~Object() { --mAlive; }
    ReferenceCount mCount;
    int& mAlive;
};

class IMissing : public BRTUnknown {
public:
    static constexpr zyncore::utility::Guid kInterfaceID{3, 0, 0, {}};
};

TEST(InterfaceRefTest, CountsReferencesOnEveryPath) {
    int alive = 0;
    {
        InterfaceRef<IFirst> first(new Object(alive));
        InterfaceRef<IFirst> copy = first;
        InterfaceRef<IFirst> moved = std::move(first);
        EXPECT_FALSE(first);
        copy = copy.operator->() ? copy : copy; // self-assignment
        moved = nullptr;
        EXPECT_EQ(alive, 1);
        const InterfaceRef<ISecond> second = QueryInterface<ISecond>(copy);
        copy.Reset();
        EXPECT_EQ(second->Answer(), 42);
        EXPECT_EQ(QueryInterface<IMissing>(second), nullptr);
        const InterfaceRef<BRTUnknown> identity = QueryInterface<BRTUnknown>(second);
        EXPECT_EQ(identity, QueryInterface<BRTUnknown>(QueryInterface<IFirst>(second)));
        EXPECT_EQ(identity->AddRef(), 3u);
        EXPECT_EQ(identity->Release(), 2u);
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(InterfaceRefTest, CallsThroughEmptyReferencesThrow) {
    const InterfaceRef<ISecond> empty;
    EXPECT_THROW(empty->Answer(), NullInterfaceException);
    EXPECT_EQ(QueryInterface<IFirst>(empty), nullptr);
    try {
        (*empty).Answer();
        FAIL();
    } catch (const Exception& exception) {
        EXPECT_STRNE(exception.what(), Exception().what());
    }
}

TEST(InterfaceRefTest, ThreadsShareOneObject) {
    int alive = 0;
    InterfaceRef<ISecond> shared(new Object(alive));
    {
        std::vector<std::jthread> threads;
        for (int n = 0; n < 3; ++n) {
            threads.emplace_back([own = shared] {
                for (int round = 0; round < 1000; ++round) {
                    InterfaceRef<ISecond> copy = own;
                    copy = QueryInterface<ISecond>(QueryInterface<IFirst>(copy));
                }
            });
        }
        shared.Reset();
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
