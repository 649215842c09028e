#include "deviceapi/TessarigAPI.h"

#include <gtest/gtest.h>

namespace
{

/// Gives itself for one id, and writes the result code that it is told.
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

void fill(ITessarig** out, Counted* with)
{
    if (with)
        with->AddRef();
    *out = with;
}

TEST(COMPtrTest, OwnsExactlyOneReferenceHoweverItWasFilled)
{
    Counted first;
    Counted second;
    {
        COMPtr<ITessarig> pointer(&first);
        EXPECT_EQ(first.count, 1);
        {
            const COMPtr<ITessarig> copy(pointer);
            EXPECT_EQ(first.count, 2);
            EXPECT_TRUE(copy == pointer);
        }
        EXPECT_EQ(first.count, 1);

        fill(&pointer, &second);
        EXPECT_EQ(first.count, 0);
        EXPECT_EQ(second.count, 1);
        fill(&pointer, nullptr); // a call that fails
        EXPECT_EQ(second.count, 0);
        EXPECT_FALSE(pointer);

        first.AddRef(); // as a factory hands it over
        pointer.attach(&first);
        EXPECT_EQ(first.count, 1);
        second.AddRef();
        pointer.attach(&second);
        EXPECT_EQ(first.count, 0);
        EXPECT_EQ(second.count, 1);
    }
    EXPECT_EQ(second.count, 0);
}

TEST(COMPtrTest, AQueryIsJudgedByThePointerAlone)
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
    const COMPtr<ITessarig> absent(&object, IID_IUnknown);
    EXPECT_FALSE(absent);
    EXPECT_EQ(object.count, 0);
}

TEST(COMPtrTest, AnEmptyOneCallsNobodyAndComparesByPointer)
{
    const COMPtr<ITessarig> empty(nullptr);
    const COMPtr<ITessarig> copy(empty);
    const COMPtr<ITessarigAttributes> queried(copy, IID_ITessarigAttributes);
    EXPECT_FALSE(queried);
    EXPECT_EQ(readAttribute(copy, Attribute::dgid), 0);

    Counted object;
    const COMPtr<ITessarig> plain(&object);
    COMPtr<ITessarig> other(&object);
    other.iid = IID_ITessarigAttributes;
    EXPECT_TRUE(plain == other);
    EXPECT_FALSE(plain == empty);
}

}
