#pragma once

#include "deviceapi/TessarigAPI.h"

/// The factories of the device library: what each returns, its accessor, and the version that ends its symbol. All of
/// the library's factories stand here, also those that the daemon does not call.
#define TESSARIG_API_FACTORIES(FACTORY)                                                                                \
    FACTORY(IUnknown, CreateTessarigIteratorInstance, 0004)                                                            \
    FACTORY(ITessarigAPIInformation, CreateTessarigAPIInformationInstance, 0001)                                       \
    FACTORY(IUnknown, CreateVideoConversionInstance, 0003)                                                             \
    FACTORY(ITessarigDiscovery, CreateTessarigDiscoveryInstance, 0003)                                                 \
    FACTORY(IUnknown, CreateVideoFrameAncillaryPacketsInstance, 0002)

/// The same for the preview library, of which the daemon calls none.
#define TESSARIG_PREVIEW_API_FACTORIES(FACTORY)                                                                        \
    FACTORY(IUnknown, CreateOpenGLScreenPreviewHelper, 0002)                                                           \
    FACTORY(IUnknown, CreateOpenGL3ScreenPreviewHelper, 0002)

// Each accessor calls its factory and returns a reference that the caller owns. Any thread. The first call of any opens
// the library, once for the life of the process; a preview accessor opens both. For a missing library or symbol there
// is a line on stderr, and its accessors return null ever after; a factory that throws gives null for that call.
#define TESSARIG_DECLARE_ACCESSOR(Type, name, version) Type* name();
TESSARIG_API_FACTORIES(TESSARIG_DECLARE_ACCESSOR)
TESSARIG_PREVIEW_API_FACTORIES(TESSARIG_DECLARE_ACCESSOR)
#undef TESSARIG_DECLARE_ACCESSOR

/// Whether the device library has been opened, whatever symbols it has. Opens nothing. Any thread.
bool IsTessarigAPILoaded();
