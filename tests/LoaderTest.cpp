#include <dlfcn.h>

#include <algorithm>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "deviceapi/ApiLoader.h"

/// In a process that has called no accessor before. The device library is the simulator, which has all symbols and
/// objects of two kinds; the preview's returns 7 for an object.
TEST(LoaderTest, OpensOnceWhatIsThereAndSaysOnceWhatIsNot)
{
    ASSERT_TRUE(dlopen(FIXTURE, RTLD_NOW)) << dlerror(); // is found by its name from now on
    EXPECT_FALSE(IsTessarigAPILoaded());
    testing::internal::CaptureStderr();
    std::thread other([] { CreateOpenGL3ScreenPreviewHelper(); });
    for (int twice = 0; twice < 2; ++twice)
    {
        EXPECT_EQ(reinterpret_cast<long>(CreateOpenGL3ScreenPreviewHelper()), 7);
        EXPECT_TRUE(IsTessarigAPILoaded()); // which the preview needs
        EXPECT_EQ(CreateOpenGLScreenPreviewHelper(), nullptr);
        EXPECT_EQ(CreateTessarigIteratorInstance(), nullptr);
        EXPECT_EQ(CreateVideoConversionInstance(), nullptr);
        EXPECT_EQ(CreateVideoFrameAncillaryPacketsInstance(), nullptr);
    }
    other.join();
    COMPtr<ITessarigDiscovery> discovery;
    discovery.attach(CreateTessarigDiscoveryInstance());
    EXPECT_TRUE(discovery);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(errors.ends_with("undefined symbol: CreateOpenGLScreenPreviewHelper_0002\n")) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}
