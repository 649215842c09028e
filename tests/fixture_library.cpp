#include <cstdint>
#include <cstdio>

// In place of the preview library it lacks the first of two factories; in place of the device library it has those that
// the daemon needs. Their objects are bare tables of functions.

static int64_t count(void*) { return 1; }
static uint32_t succeed(void*) { return 0; }
static uint32_t tell(void*, uint32_t id, int64_t* value) { return fprintf(stderr, "get %x %ld\n", id, *value) < 0; }

template <typename Function>
static void* entry(Function function)
{
    return reinterpret_cast<void*>(function);
}

static void* const informationTable[] = {nullptr, entry(count), entry(count), nullptr, entry(tell)};
static void* const discoveryTable[] = {nullptr, entry(count), entry(count), entry(succeed), entry(succeed)};
static void* const* const objects[] = {informationTable, discoveryTable};

extern "C"
{
    long CreateOpenGL3ScreenPreviewHelper_0002() { return 7; }
    const void* CreateTessarigAPIInformationInstance_0001() { return &objects[0]; }
    const void* CreateTessarigDiscoveryInstance_0003() { return &objects[1]; }
}
