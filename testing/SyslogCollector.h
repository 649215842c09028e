#pragma once

#include "preferences/Owner.h"
#include "testing/Files.h"

/// Takes what comes to /dev/log, as a syslog daemon would. Only on a private machine.
class SyslogCollector
{
public:
    SyslogCollector();

    /// Waits until there are so many messages and takes all that there are, each as "priority text", without date,
    /// ident and pid.
    Lines take(size_t count) const;

private:
    const Descriptor socket;
};
