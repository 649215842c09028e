#pragma once

#include "settings/NameTable.h"

inline namespace ostrivane
{

// How the two pictures of a 3D signal are packed. The default is not the first one. Plain functions of their arguments:
// any thread.

inline constexpr NameTable packings3D{{3, "FramePacking"},
                                      {{0, "SideBySideHalf"},
                                       {1, "LineByLine"},
                                       {2, "TopAndBottom"},
                                       {3, "FramePacking"},
                                       {4, "SideBySideFull"},
                                       {5, "LeftOnly"},
                                       {6, "RightOnly"}}};

constexpr const char* packing3DName(uint32_t number) { return packings3D.name(number); }

constexpr uint32_t packing3DFromName(const char* name) { return packings3D.number(name); }

}
