#ifndef RECORDER_SOCKETS_H
#define RECORDER_SOCKETS_H

#include "recorder/segment.h"

#include <unistd.h>
#include <utility>

namespace capture {

/// Owns a file descriptor; -1 is none.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1)
        : m_descriptor(descriptor)
    {
    }
    Descriptor(Descriptor &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~Descriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

    int get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

private:
    int m_descriptor;
};

// All sockets are non-blocking. What fails gives none, and sets errno.
Descriptor listenAt(const Endpoint &endpoint);
Descriptor acceptFrom(const Descriptor &listener);
Descriptor beginToConnect(const Endpoint &endpoint); ///< writable when that is decided
bool isLeft(const Descriptor &socket); ///< whether the other end has closed or reset it
int connectionError(const Descriptor &socket); ///< errno of an attempt to connect; 0: connected

Endpoint localEnd(const Descriptor &socket);
Endpoint remoteEnd(const Descriptor &socket);

/// Ends the connection at once, for the other end to see.
void resetConnection(Descriptor *socket);

} // namespace capture

#endif
