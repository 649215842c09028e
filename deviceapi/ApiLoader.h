#pragma once

#include "deviceapi/TessarigAPI.h"

/// The factories of the device library: what they return, their accessor, and the version that ends the symbol's name.
#define TESSARIG_API_FACTORIES(FACTORY)                                                                                \
    FACTORY(IUnknown, CreateTessarigIteratorInstance, 0004)                                                            \
    FACTORY(ITessarigAPIInformation, CreateTessarigAPIInformationInstance, 0001)                                       \
    FACTORY(IUnknown, CreateVideoConversionInstance, 0003)                                                             \
    FACTORY(ITessarigDiscovery, CreateTessarigDiscoveryInstance, 0003)                                                 \
    FACTORY(IUnknown, CreateVideoFrameAncillaryPacketsInstance, 0002)

/// The same for the preview library.
#define TESSARIG_PREVIEW_API_FACTORIES(FACTORY)                                                                        \
    FACTORY(IUnknown, CreateOpenGLScreenPreviewHelper, 0002)                                                           \
    FACTORY(IUnknown, CreateOpenGL3ScreenPreviewHelper, 0002)

// One accessor a factory. The first call of any opens the library, once for the life of the process; a preview accessor
// opens both. A library or symbol that is missing costs a line on stderr, and its accessors return null for good; a
// factory that throws gives null that once. What an accessor returns carries a reference that the caller owns. Safe
// from any thread.
#define TESSARIG_DECLARE_ACCESSOR(Type, name, version) Type* name();
TESSARIG_API_FACTORIES(TESSARIG_DECLARE_ACCESSOR)
TESSARIG_PREVIEW_API_FACTORIES(TESSARIG_DECLARE_ACCESSOR)
#undef TESSARIG_DECLARE_ACCESSOR

/// Whether the device library has been opened by now, whatever symbols it had. Opens nothing. Safe from any thread.
bool IsTessarigAPILoaded();
