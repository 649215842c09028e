#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "deviceapi/ApiLoader.h"
#include "preferences/PreferenceStore.h"

#define SHOW(Type, name, version) printf("%ld ", reinterpret_cast<long>(name()));
static void showFlag() { printf("%s ", IsTessarigAPILoaded() ? "loaded" : "no"); }
static void showApi() { TESSARIG_API_FACTORIES(SHOW) }
static void showPreview() { TESSARIG_PREVIEW_API_FACTORIES(SHOW) }
#undef SHOW

/// Prints what the accessors give, from two threads at once what one of them does, and the flag in between.
static int load(bool previewFirst)
{
    showFlag();
    if (previewFirst)
        showPreview();
    showFlag();
    std::thread other([] { static_cast<void>(CreateTessarigDiscoveryInstance()); });
    showApi();
    other.join();
    showFlag();
    showPreview();
    return 0;
}

/// Changes one value in the user's file. The save lies between two calls of getppid, which nothing else here makes.
/// Status: 0 or 1 as the save says, 2 if it threw, 3 if the table is not as it was.
static int save()
{
    PreferenceStore store(true);
    if (!store.read())
        return 4;
    store.set("1", "a", std::string("new"));
    const PreferenceTable before = store.table;
    int status = 2;
    getppid();
    try
    {
        status = store.write() ? 0 : 1;
    }
    catch (const std::exception&)
    {
    }
    getppid();
    return store.table == before ? status : 3;
}

int main(int, char* argv[])
{
    const std::string task = argv[1];
    return task == "save" ? save() : load(task == "preview");
}
