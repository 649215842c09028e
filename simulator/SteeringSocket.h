#pragma once

#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "preferences/Owner.h"

class Simulator;

/// Takes commands for the simulator on a unix socket: a line each, a line of answer each. Every connection has a
/// thread of its own, so a command that waits holds up nobody else.
class SteeringSocket
{
public:
    /// Replaces whatever stands at the path; only the daemon's own user may connect. Without success there is simply no
    /// socket; the reason goes to stderr.
    SteeringSocket(Simulator& steered, const std::string& place);
    /// Ends all connections and removes the socket.
    ~SteeringSocket();
    SteeringSocket(const SteeringSocket&) = delete;
    SteeringSocket& operator=(const SteeringSocket&) = delete;

private:
    struct Connection
    {
        Descriptor descriptor;
        bool ended = false;
        std::thread thread;
    };

    void accept();
    void serve(Connection& connection);
    void removeEnded();

    Simulator& simulator;
    const std::string path;
    Descriptor listener;
    std::mutex mutex; ///< Guards `connections` and what they hold, but for the threads.
    std::list<Connection> connections;
    std::thread acceptor;
};
