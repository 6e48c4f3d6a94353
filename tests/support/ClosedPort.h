#pragma once

#include <QtGlobal>

// A local TCP port that refuses connections for the life of the object: it is bound but never listens,
// so no other process can take it meanwhile, unlike a port that was bound and released.
class ClosedPort
{
public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    quint16 port() const { return m_port; }

private:
    int m_socket = -1;
    quint16 m_port = 0;
};
