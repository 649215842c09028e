#include <cstdio>

// Libraries that have the factories' symbols and nothing behind them. Each says that it was opened.

namespace
{

[[maybe_unused]] const int announced = fprintf(stderr, "opened\n");

}

extern "C"
{
#ifdef PREVIEW
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
