#pragma once

// Static tracepoints of the provider `ostrivane`: what only the daemon knows, for bpftrace and its kind. Each is one
// instruction without effect until somebody attaches to it. docs/tracepoints.md describes them and their arguments; a
// device stands there by its raw pointer.
//
// TRACE(name, argument...) takes one to twelve numbers or pointers and evaluates them also while nobody is attached.
#ifdef OSTRIVANE_TRACEPOINTS
#define SDT_USE_VARIADIC
#include <sys/sdt.h>
#define TRACE(name, ...) STAP_PROBEV(ostrivane, name, __VA_ARGS__)
#else
#define TRACE(name, ...) static_cast<void>(0)
#endif
