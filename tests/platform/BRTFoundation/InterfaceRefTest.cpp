#include "BRTFoundation.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

namespace {

using namespace BRT;

template <std::uint32_t number>
class INumbered : public BRTUnknown {
public:
    static constexpr zyncore::utility::Guid kInterfaceID{number, 0, 0, {}};
};
using IFirst = INumbered<1>;
using ISecond = INumbered<2>;

class Object final : public IFirst, public ISecond, public Allocated {
public:
    explicit Object(int& alive) : mAlive(alive) { ++mAlive; }
    std::uint32_t AddRef() override { return mCount.Increment(); }
    std::uint32_t Release() override {
        const std::uint32_t count = mCount.Decrement();
        return count == 0 ? DeletingDestructor(1), 0 : count;
    }
    void* DeletingDestructor(unsigned int) override {
        delete this;
        return nullptr;
    }
    std::int32_t QueryInterface(const zyncore::utility::Guid& iid, void** outInterface) override {
        *outInterface = iid == IFirst::kInterfaceID    ? static_cast<void*>(static_cast<IFirst*>(this))
                        : iid == ISecond::kInterfaceID ? static_cast<ISecond*>(this)
                                                       : nullptr;
        return *outInterface ? AddRef(), kResult_Success : kResult_NoSuchInterface;
    }

private:
    ~Object() { --mAlive; }
    ReferenceCount mCount;
    int& mAlive;
};

TEST(InterfaceRefTest, CountsReferencesOnEveryPathAndThread) {
    int alive = 0;
    {
        InterfaceRef<IFirst> first(new Object(alive));
        InterfaceRef<IFirst> copy = first;
        InterfaceRef<IFirst> moved = std::move(first);
        EXPECT_FALSE(first);
        copy = copy.operator->() ? copy : copy; // self-assignment
        moved = nullptr;
        const InterfaceRef<ISecond> second = QueryInterface<ISecond>(copy);
        copy.Reset();
        EXPECT_EQ(QueryInterface<INumbered<3>>(second), nullptr);
        OnThreads(3, [&](unsigned) {
            for (int round = 0; round < 1000; ++round) {
                InterfaceRef<ISecond> own = second;
                own = QueryInterface<ISecond>(QueryInterface<IFirst>(own));
            }
        });
        EXPECT_EQ(second->AddRef(), 2u);
        EXPECT_EQ(second->Release(), 1u);
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
    const InterfaceRef<ISecond> empty;
    EXPECT_THROW(empty->AddRef(), NullInterfaceException);
    EXPECT_THROW((*empty).AddRef(), Exception);
    EXPECT_EQ(QueryInterface<IFirst>(empty), nullptr);
}

} // namespace
