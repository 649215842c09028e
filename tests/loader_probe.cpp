#include <cstdio>
#include <thread>
#include <vector>

#include "deviceapi/ApiLoader.h"

namespace
{

#define SHOW(Type, name, version) printf("%ld ", reinterpret_cast<long>(name()));
void showFlag() { printf("%s ", IsTessarigAPILoaded() ? "loaded" : "no"); }
void showApi() { TESSARIG_API_FACTORIES(SHOW) }
void showPreview() { TESSARIG_PREVIEW_API_FACTORIES(SHOW) }
#undef SHOW

}

/// Prints what the accessors give, the preview's first if there is any argument, and the flag in between. The fixture
/// libraries return small numbers for objects.
int main(int argc, char*[])
{
    showFlag();
    if (argc > 1)
        showPreview();
    showFlag();
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread([] { printf("%ld ", reinterpret_cast<long>(CreateTessarigDiscoveryInstance())); });
    for (std::thread& thread : threads)
        thread.join();
    showApi();
    showFlag();
    showPreview();
}
