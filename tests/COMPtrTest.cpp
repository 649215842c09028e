#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "device/DeviceAttribute.h"

/// Gives itself for one id, with the result code that it is told.
struct Counted final : ITessarig
{
    int64_t count = 0;
    ResultCode code = S_OK;
    bool shared = true; ///< If not, AddRef throws.

    ResultCode QueryInterface(InterfaceId iid, void** out) override
    {
        if (iid != IID_ITessarigAttributes)
            return E_NOINTERFACE;
        AddRef();
        *out = this;
        return code;
    }
    int64_t AddRef() override { return shared ? ++count : throw std::bad_alloc(); }
    int64_t Release() override { return --count; }
};

TEST(COMPtrTest, OwnsExactlyOneReferenceHoweverItWasFilledAndIsJudgedByThePointerAlone)
{
    Counted first;
    Counted second;
    using Counts = std::pair<int64_t, int64_t>;
    const auto counts = [&] { return Counts(first.count, second.count); };
    {
        COMPtr<ITessarig> pointer(&first);
        EXPECT_EQ(counts(), Counts(1, 0));
        EXPECT_EQ((COMPtr<ITessarig>(pointer), counts()), Counts(2, 0));
        second.AddRef(); // as a callee hands it over
        *static_cast<ITessarig**>(&pointer) = &second;
        EXPECT_EQ(counts(), Counts(0, 1));
        static_cast<void>(&pointer); // for a call that fails
        EXPECT_EQ(counts(), Counts(0, 0));
        EXPECT_FALSE(pointer);
        for (Counted* handedOver : {&first, &second}) // by a factory
            pointer.attach((handedOver->AddRef(), handedOver));
        EXPECT_EQ(counts(), Counts(0, 1));
        for (const ResultCode code : {S_OK, E_FAIL})
        {
            first.code = code;
            const COMPtr<ITessarigAttributes> found(&first, IID_ITessarigAttributes);
            EXPECT_TRUE(found && found.iid == IID_ITessarigAttributes);
            EXPECT_EQ(counts(), Counts(1, 1));
        }
        pointer.iid = IID_ITessarigAttributes;
        EXPECT_TRUE(pointer == COMPtr<ITessarig>(&second));
        EXPECT_FALSE((COMPtr<ITessarig>(pointer, IID_IUnknown)));
        const COMPtr<ITessarig> empty(nullptr);
        const COMPtr<ITessarig> copy(empty);
        EXPECT_FALSE(pointer == copy);
        EXPECT_EQ(readAttribute(copy, Attribute::dgid), 0);
        second.shared = false;
        EXPECT_FALSE(COMPtr<ITessarig>(pointer) || COMPtr<ITessarig>(&second));
    }
    EXPECT_EQ(counts(), Counts(0, 0));
}
