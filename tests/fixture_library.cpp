#include <cstdint>
#include <cstdio>

#ifdef PREVIEW

// The preview library without the first of its two factories.
extern "C" long CreateOpenGL3ScreenPreviewHelper_0002() { return 7; }

#else

// A device library without other factories than the daemon needs. Its objects are bare tables of functions, and say on
// stderr what they are asked.

namespace
{

int64_t count(void*) { return 1; }
uint32_t get(void*, uint32_t id, int64_t* value) { return fprintf(stderr, "get %x %ld\n", id, *value) < 0; }
uint32_t install(void*, void*) { return fprintf(stderr, "install\n") < 0; }
uint32_t uninstall(void*) { return fprintf(stderr, "uninstall\n") < 0; }

template <typename Function>
void* entry(Function function)
{
    return reinterpret_cast<void*>(function);
}

void* const informationTable[] = {nullptr, entry(count), entry(count), nullptr, entry(get)};
void* const discoveryTable[] = {nullptr, entry(count), entry(count), entry(install), entry(uninstall)};
void* const* const objects[] = {informationTable, discoveryTable};

}

extern "C"
{
    const void* CreateTessarigAPIInformationInstance_0001() { return &objects[0]; }
    const void* CreateTessarigDiscoveryInstance_0003() { return &objects[1]; }
}

#endif
