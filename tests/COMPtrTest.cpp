#include <gtest/gtest.h>

#include "deviceapi/TessarigAPI.h"

namespace
{

/// Gives itself for one id, with the result code that it is told.
struct Counted final : ITessarig
{
    int64_t count = 0;
    ResultCode code = S_OK;

    ResultCode QueryInterface(InterfaceId iid, void** out) override
    {
        if (iid != IID_ITessarigAttributes)
            return E_NOINTERFACE;
        AddRef();
        *out = this;
        return code;
    }
    int64_t AddRef() override { return ++count; }
    int64_t Release() override { return --count; }
};

TEST(COMPtrTest, OwnsExactlyOneReferenceHoweverItWasFilled)
{
    Counted first;
    Counted second;
    const auto expectCounts = [&](int64_t ofFirst, int64_t ofSecond)
    {
        EXPECT_EQ(first.count, ofFirst);
        EXPECT_EQ(second.count, ofSecond);
    };
    {
        COMPtr<ITessarig> pointer(&first);
        expectCounts(1, 0);
        {
            const COMPtr<ITessarig> copy(pointer);
            expectCounts(2, 0);
        }
        second.AddRef(); // as a callee hands it over
        *static_cast<ITessarig**>(&pointer) = &second;
        expectCounts(0, 1);
        static_cast<void>(&pointer); // for a call that fails
        expectCounts(0, 0);
        EXPECT_FALSE(pointer);
        first.AddRef(); // as a factory hands it over
        pointer.attach(&first);
        second.AddRef();
        pointer.attach(&second);
        expectCounts(0, 1);
    }
    expectCounts(0, 0);
}

TEST(COMPtrTest, IsJudgedAndComparedByThePointerAlone)
{
    Counted object;
    for (const ResultCode code : {S_OK, E_FAIL})
    {
        object.code = code;
        const COMPtr<ITessarigAttributes> found(&object, IID_ITessarigAttributes);
        EXPECT_TRUE(found);
        EXPECT_EQ(found.iid, IID_ITessarigAttributes);
        EXPECT_EQ(object.count, 1);
    }
    COMPtr<ITessarig> other(&object);
    other.iid = IID_ITessarigAttributes;
    EXPECT_TRUE(other == COMPtr<ITessarig>(&object));
    EXPECT_FALSE((COMPtr<ITessarig>(other, IID_IUnknown)));

    const COMPtr<ITessarig> empty(nullptr);
    const COMPtr<ITessarig> copy(empty);
    EXPECT_FALSE(other == copy);
    EXPECT_EQ(readAttribute(copy, Attribute::dgid), 0);
}

}
