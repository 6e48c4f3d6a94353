#pragma once

#include <chrono>
#include <cstddef>

// What one connection may cost the service: how long it may stay silent or dribble, how much it may
// send, and how many connections there may be.
struct ConnectionLimits
{
    int maxConnections = 1024;                    // served at once; the rest wait in the listen queue
    int maxConnectionsPerClient = 128;            // per client address
    std::chrono::milliseconds firstRead{5000};    // a new connection's first byte
    std::chrono::milliseconds keepAlive{5000};    // between requests on one connection
    std::chrono::milliseconds requestTime{30000}; // header and body of one request, all told
    std::chrono::milliseconds readTimeout{5000};  // silence in the middle of a request
    std::size_t maxHeaderBytes = 32 * 1024;
    int maxHeaderLines = 100;
    std::size_t maxBodyBytes = 4 * 1024 * 1024;
    std::size_t maxBodyBytesInFlight = 64 * 1024 * 1024; // all bodies being received at once
    int maxRequestsPerConnection = 100;
};
