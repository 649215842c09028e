#include <new>
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

TEST(COMPtrTest, OwnsExactlyOneReferenceHoweverItWasFilled)
{
    Counted first;
    Counted second;
    {
        COMPtr<ITessarig> pointer(&first);
        EXPECT_EQ(first.count, 1);
        {
            const COMPtr<ITessarig> copy(pointer);
            EXPECT_EQ(copy.ptr, &first);
            EXPECT_EQ(first.count, 2);
        }
        EXPECT_EQ(first.count, 1);
        second.AddRef(); // as a callee hands it over
        *static_cast<ITessarig**>(&pointer) = &second;
        EXPECT_EQ(first.count, 0);
        static_cast<void>(&pointer); // for a call that fails
        EXPECT_EQ(second.count, 0);
        EXPECT_FALSE(pointer);
        for (Counted* made : {&first, &second}) // as a factory hands it over
        {
            made->AddRef();
            pointer.attach(made);
        }
        EXPECT_EQ(first.count, 0);
        EXPECT_EQ(second.count, 1);
    }
    EXPECT_EQ(second.count, 0);
}

TEST(COMPtrTest, AQueryIsJudgedByThePointerAlone)
{
    Counted object;
    const COMPtr<ITessarig> source(&object);
    for (const ResultCode code : {S_OK, E_FAIL})
    {
        object.code = code;
        const COMPtr<ITessarigAttributes> found(source, IID_ITessarigAttributes);
        EXPECT_TRUE(found && found.iid == IID_ITessarigAttributes);
        EXPECT_EQ(object.count, 2);
    }
    EXPECT_FALSE((COMPtr<ITessarig>(source, IID_IUnknown)));
    const COMPtr<ITessarig> empty;
    EXPECT_FALSE((COMPtr<ITessarigAttributes>(empty, IID_ITessarigAttributes)));
    EXPECT_EQ(readAttribute(empty, Attribute::dgid), 0);
    object.shared = false;
    EXPECT_FALSE(COMPtr<ITessarig>(source) || COMPtr<ITessarig>(&object));
    EXPECT_EQ(object.count, 1);
}

static_assert(
    noexcept(std::declval<COMPtr<ITessarig>&>().attach(nullptr)) && noexcept(&std::declval<COMPtr<ITessarig>&>()));

TEST(COMPtrTest, EqualIsWhatPointsToTheSameObject)
{
    Counted object;
    COMPtr<ITessarig> pointer(&object);
    pointer.iid = IID_ITessarigAttributes;
    EXPECT_TRUE(pointer == COMPtr<ITessarig>(&object));
    EXPECT_FALSE(pointer == COMPtr<ITessarig>());
    EXPECT_TRUE(COMPtr<ITessarig>(pointer).iid == IID_ITessarigAttributes);
}
