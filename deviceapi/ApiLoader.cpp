#include "deviceapi/ApiLoader.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstdio>

#include "deviceapi/Contained.h"

namespace
{

template <typename Type>
using Factory = Type* (*)();

// Written inside the two loads only; everybody else reads them behind a once control.
#define DEFINE_FACTORY(Type, name, version) Factory<Type> name##Factory = nullptr;
TESSARIG_API_FACTORIES(DEFINE_FACTORY)
TESSARIG_PREVIEW_API_FACTORIES(DEFINE_FACTORY)
#undef DEFINE_FACTORY

pthread_once_t apiOnce = PTHREAD_ONCE_INIT;
pthread_once_t previewOnce = PTHREAD_ONCE_INIT;
std::atomic<bool> apiLoaded = false;

void reportLoaderError()
{
    const char* text = dlerror();
    fprintf(stderr, "%s\n", text ? text : "symbol has no address");
}

/// The handle is never closed: the library stays for the life of the process.
void* openLibrary(const char* name)
{
    void* library = dlopen(name, RTLD_NOW | RTLD_GLOBAL);
    if (!library)
        reportLoaderError();
    return library;
}

template <typename Type>
void resolve(void* library, const char* symbol, Factory<Type>& factory)
{
    factory = reinterpret_cast<Factory<Type>>(dlsym(library, symbol));
    if (!factory)
        reportLoaderError();
}

#define RESOLVE_FACTORY(Type, name, version) resolve(library, #name "_" #version, name##Factory);

void loadTessarigAPI()
{
    void* library = openLibrary("libTessarigAPI.so");
    if (!library)
        return;
    apiLoaded = true;
    TESSARIG_API_FACTORIES(RESOLVE_FACTORY)
}

void loadTessarigPreviewAPI()
{
    void* library = openLibrary("libTessarigPreviewAPI.so");
    if (!library)
        return;
    TESSARIG_PREVIEW_API_FACTORIES(RESOLVE_FACTORY)
}

#undef RESOLVE_FACTORY

/// Null as well if the factory throws.
template <typename Type>
Type* callFactory(Factory<Type> factory)
{
    return factory ? contained(factory, nullptr) : nullptr;
}

}

#define DEFINE_ACCESSOR(Type, name, version)                                                                           \
    Type* name()                                                                                                       \
    {                                                                                                                  \
        pthread_once(&apiOnce, loadTessarigAPI);                                                                       \
        return callFactory(name##Factory);                                                                             \
    }
TESSARIG_API_FACTORIES(DEFINE_ACCESSOR)

#define DEFINE_PREVIEW_ACCESSOR(Type, name, version)                                                                   \
    Type* name()                                                                                                       \
    {                                                                                                                  \
        pthread_once(&apiOnce, loadTessarigAPI);                                                                       \
        pthread_once(&previewOnce, loadTessarigPreviewAPI);                                                            \
        return callFactory(name##Factory);                                                                             \
    }
TESSARIG_PREVIEW_API_FACTORIES(DEFINE_PREVIEW_ACCESSOR)

bool IsTessarigAPILoaded() { return apiLoaded; }
