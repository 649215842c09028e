#include "deviceapi/ApiLoader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

/// The device library is the simulator, which has all symbols and objects of two kinds; the preview's returns 7 for an
/// object, and lacks the first of its symbols.
static void callAccessors()
{
    EXPECT_TRUE(dlopen(FIXTURE, RTLD_NOW)) << dlerror(); // is found by its name from now on
    EXPECT_FALSE(IsTessarigAPILoaded());
    std::thread other([] { CreateOpenGL3ScreenPreviewHelper(); });
    for (int round = 0; round < 2; ++round)
    {
        EXPECT_EQ(reinterpret_cast<long>(CreateOpenGL3ScreenPreviewHelper()), 7);
        EXPECT_TRUE(IsTessarigAPILoaded()) << "which the preview needs";
        EXPECT_EQ(CreateOpenGLScreenPreviewHelper(), nullptr);
        EXPECT_EQ(CreateTessarigIteratorInstance(), nullptr);
        EXPECT_EQ(CreateVideoConversionInstance(), nullptr);
        EXPECT_EQ(CreateVideoFrameAncillaryPacketsInstance(), nullptr);
    }
    other.join();
    EXPECT_TRUE(dlsym(RTLD_DEFAULT, "CreateOpenGL3ScreenPreviewHelper_0002")) << "other libraries find its symbols";
    COMPtr<ITessarigDiscovery> discovery;
    discovery.attach(CreateTessarigDiscoveryInstance());
    EXPECT_TRUE(discovery);
    exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(ApiLoaderTest, OpensOnceWhatIsThereAndSaysOnceWhatIsNot)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a new process, which has called no accessor before
    EXPECT_EXIT(callAccessors(), testing::ExitedWithCode(0),
                "^[^\n]*undefined symbol: CreateOpenGLScreenPreviewHelper_0002\n$");
}
