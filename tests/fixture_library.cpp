#include <cstdint>
#include <cstdio>

// Libraries that have the factories' symbols. Each says that it was opened.

namespace
{

[[maybe_unused]] const int announced = fprintf(stderr, "opened\n");

#ifdef BARE
// Objects that are bare tables of functions, and say what they are asked.
int64_t count(void*) { return 1; }
uint32_t get(void*, uint32_t id, int64_t* value) { return fprintf(stderr, "get %x %ld\n", id, *value) < 0; }
uint32_t install(void*, void*) { return fprintf(stderr, "install\n") < 0; }
uint32_t uninstall(void*) { return fprintf(stderr, "uninstall\n") < 0; }

void* const counting = reinterpret_cast<void*>(count);
void* const table1[] = {nullptr, counting, counting, nullptr, reinterpret_cast<void*>(get)};
void* const table2[] = {nullptr, counting, counting, reinterpret_cast<void*>(install),
                        reinterpret_cast<void*>(uninstall)};
void* const* const objects[] = {table1, table2};
#endif

}

extern "C"
{
#ifdef BARE
    const void* CreateTessarigAPIInformationInstance_0001() { return &objects[0]; }
    const void* CreateTessarigDiscoveryInstance_0003() { return &objects[1]; }
#elif defined PREVIEW
    long CreateOpenGL3ScreenPreviewHelper_0002() { return 7; } // without the other one
#else
#ifndef NO_ITERATOR
    long CreateTessarigIteratorInstance_0004() { return 1; }
#endif
    long CreateTessarigAPIInformationInstance_0001() { return 2; }
    long CreateVideoConversionInstance_0003() { return 3; }
#ifndef NO_DISCOVERY
    long CreateTessarigDiscoveryInstance_0003() { return 4; }
#endif
    long CreateVideoFrameAncillaryPacketsInstance_0002() { return 5; }
#endif
}
