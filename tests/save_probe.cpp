#include <unistd.h>

#include <exception>

#include "preferences/PreferenceStore.h"

/// Changes one value in the user's file. The save lies between two calls of getppid, which nothing else here makes.
/// Status: 0 or 1 as the save says, 2 if it threw, 3 if the table is not as it was.
int main()
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
