#pragma once

// State to clang which mutex guards a field and which a function needs or must not find locked; scripts/check-locks has
// it look for breaches. To other compilers these are nothing.

#ifdef __clang__
#define GUARDED_BY(mutex) __attribute__((guarded_by(mutex)))
#define REQUIRES(...) __attribute__((requires_capability(__VA_ARGS__)))
#define EXCLUDES(...) __attribute__((locks_excluded(__VA_ARGS__)))
#else
#define GUARDED_BY(mutex)
#define REQUIRES(...)
#define EXCLUDES(...)
#endif
