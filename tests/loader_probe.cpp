#include "deviceapi/ApiLoader.h"

#include <cstdio>
#include <string_view>
#include <thread>
#include <vector>

/// Calls the accessors that its words name, and prints what each gives; the fixture
/// libraries return small numbers for objects. "loaded" asks for the flag; "race" calls one from many threads at once.
int main(int argc, char* argv[])
{
    struct Accessor
    {
        const char* name;
        long (*call)();
    };
#define ACCESSOR(Type, name, version) {#name, [] { return reinterpret_cast<long>(name()); }},
    const Accessor accessors[] = {TESSARIG_API_FACTORIES(ACCESSOR) TESSARIG_PREVIEW_API_FACTORIES(ACCESSOR)};
#undef ACCESSOR
    for (int i = 1; i < argc; ++i)
    {
        const std::string_view word = argv[i];
        if (word == "loaded")
            printf("%s ", IsTessarigAPILoaded() ? "loaded" : "no");
        if (word == "race")
        {
            std::vector<std::thread> threads;
            for (int thread = 0; thread < 8; ++thread)
                threads.emplace_back([] { printf("%ld ", reinterpret_cast<long>(CreateTessarigDiscoveryInstance())); });
            for (std::thread& thread : threads)
                thread.join();
        }
        for (const Accessor& accessor : accessors)
            if (word == "all" || word == accessor.name)
                printf("%ld ", accessor.call());
    }
}
