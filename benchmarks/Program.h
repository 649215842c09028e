#pragma once

#include <string>

#include "testing/Child.h"
#include "testing/SyslogCollector.h"

// Whole processes that are measured from outside: the daemon, and the bare process that is its baseline. On a private
// machine.

/// A running program that has said on syslog that it is ready, and that ends in order at SIGTERM.
class Program
{
public:
    /// The bare device library beside the program, if it is there, makes so many cards.
    Program(const SyslogCollector& collector, const Lines& words, int cards);

    /// Returns once it has so many threads, or more, and none of them runs any more.
    void awaitIdle(long threads) const;
    /// Bytes, of a line of /proc/PID/smaps_rollup or of all lines that begin like it.
    double memory(const std::string& line) const;
    void stop();

    Child child;

private:
    const SyslogCollector& syslog;
};

/// The shared libraries that the dynamic linker maps for a program, by name.
Lines librariesOf(const std::string& program);
