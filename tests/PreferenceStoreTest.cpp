#include <cstdlib>
#include <new>
#include <utility>

#include "preferences/PreferenceUpdater.h"
#include "tests/PreferenceTest.h"

#ifdef FAILING_ALLOCATIONS
/// How many allocations are left to the calling thread until one fails; negative lets all succeed.
static thread_local int allocationsLeft = -1;

static void* allocate(size_t size)
{
    void* memory = allocationsLeft == 0 ? nullptr : malloc(size);
    allocationsLeft -= allocationsLeft >= 0;
    return memory;
}

[[gnu::noinline]] void* operator new(size_t size)
{
    void* memory = allocate(size);
    return memory ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { free(memory); }
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept { free(memory); }

/// Makes the call with its allocation of this number failing. False if it makes fewer.
template <typename Call>
static bool failsAt(int allocation, Call call)
{
    allocationsLeft = allocation;
    try
    {
        call();
    }
    catch (const std::bad_alloc&)
    {
    }
    return std::exchange(allocationsLeft, -1) < 0;
}
#endif

using PreferenceStoreTest = PreferenceTest;

TEST_F(PreferenceStoreTest, KeepsTheOrderOfTheFirstSetAndTheLastValue)
{
    store.set("17", "b", 9000L);
    store.set("group16", "a", std::string("text"));
    store.set("17", "a", 0.5);
    store.set("17", "b", true);
    store.set("", "", std::string("x"));
    EXPECT_EQ(tableOf(store), "17[b=bool true,a=double 0.5] group16[a=text] [=x]");

    PreferenceValue value = 1L;
    EXPECT_FALSE(store.get("17", "c", value) || store.get("17 ", "b", value) || store.has("Group16", "a"));
    EXPECT_EQ(value, PreferenceValue(1L));
    EXPECT_TRUE(store.has("", "") && store.get("17", "a", value));
    EXPECT_EQ(value, PreferenceValue(0.5));
    store.forEachAttribute("17", [](const std::string&, PreferenceValue& copy) { copy = 7L; });
    EXPECT_EQ(tableOf(store), "17[b=bool true,a=double 0.5] group16[a=text] [=x]");
    store.forEachAttribute("none", nullptr);
    EXPECT_THROW(store.forEachAttribute("17", nullptr), std::bad_function_call);
}

TEST_F(PreferenceStoreTest, WhatIsRemovedOrReadAnewLeavesNothingBehind)
{
    for (const long value : {1L, 2L})
    {
        store.set("group16", "a", value);
        store.set("17", "b", value);
        store.set("17", "a", value);
        store.remove("17", "b");
        store.remove("17", "b");
        store.remove("group16", "a");
        store.remove("none", "a");
        EXPECT_EQ(tableOf(store), "group16[] 17[a=long " + std::to_string(value) + "]");
    }
    store.set("17", "c", 3L); // the key that a set takes first, and that is gone
    store.removeKey("17");
    store.removeKey("17");
    store.set("17", "b", 4L);
    EXPECT_EQ(tableOf(store), "group16[] 17[b=long 4]");
    ASSERT_TRUE(store.parseText(document("<card id='17'><attribute name='a' value='1'/></card>")));
    store.set("17", "b", 5L);
    EXPECT_EQ(tableOf(store), "17[a=1,b=long 5]");
}

TEST_F(PreferenceStoreTest, AKeyMayHaveSoManySettingsThatTheyAreNoLongerFoundByAWalk)
{
    for (const long number : {1L, 2L})
        for (int name = 0; name < 100; ++name)
            store.set("17", std::to_string(name), number);
    for (int name = 0; name < 99; ++name)
        store.remove("17", std::to_string(name));
    store.set("17", "0", 3L);
    EXPECT_EQ(tableOf(store), "17[99=long 2,0=long 3]");
}

#ifdef FAILING_ALLOCATIONS
TEST_F(PreferenceStoreTest, WithoutMemoryNothingChanges)
{
    std::string expected = "group16[NetOutputVideoPort=1]";
    store.set("group16", "NetOutputVideoPort", std::string("1"));
    const std::string key = "17, and more than fits without an allocation";
    for (int number = 0; number < 70; ++number) // of which each half is found in its own way
    {
        const std::string name = std::to_string(number % 35) + (number < 35 ? "" : ", too long for a string itself");
        const std::string before = tableOf(store);
        for (int left = 0; failsAt(left, [&] { store.set(key, name, name); }); ++left)
        {
            ASSERT_EQ(tableOf(store), before) << number << " " << left;
            ASSERT_FALSE(store.has(key, name));
        }
        expected += (number == 0 ? " " + key + "[" : ",") + name + "=" + name;
        ASSERT_EQ(tableOf(store), expected + "]");
        ASSERT_TRUE(store.has(key, name));
    }
    ASSERT_TRUE(store.write());
    const std::string original = contents(path);
    PreferenceUpdater updater(true);
    int result = 0;
    EXPECT_TRUE(failsAt(0, [&] { result = updater.update(); })); // before the parser, which loses memory then
    EXPECT_EQ(result, 2);
    EXPECT_EQ(contents(path), original);
    EXPECT_EQ(updater.update(), 1);
}
#endif
