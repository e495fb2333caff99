#include "recorder/sockets.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace capture {
namespace {

const int keepAliveSeconds = 60;

struct Address {
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;

    sockaddr *get() { return reinterpret_cast<sockaddr *>(&storage); }
    int family() const { return storage.ss_family; }
};

Address addressOf(const Endpoint &endpoint)
{
    Address address;
    if (endpoint.address.protocol() == QAbstractSocket::IPv6Protocol) {
        auto *ipv6 = reinterpret_cast<sockaddr_in6 *>(&address.storage);
        const Q_IPV6ADDR bytes = endpoint.address.toIPv6Address();
        ipv6->sin6_family = AF_INET6;
        ipv6->sin6_port = htons(endpoint.port);
        memcpy(&ipv6->sin6_addr, &bytes, sizeof bytes);
        address.length = sizeof *ipv6;
    } else {
        auto *ipv4 = reinterpret_cast<sockaddr_in *>(&address.storage);
        ipv4->sin_family = AF_INET;
        ipv4->sin_port = htons(endpoint.port);
        ipv4->sin_addr.s_addr = htonl(endpoint.address.toIPv4Address());
        address.length = sizeof *ipv4;
    }
    return address;
}

Endpoint endpointOf(Address address)
{
    Endpoint endpoint;
    endpoint.address.setAddress(address.get());
    // the port is at the same place in both kinds
    endpoint.port = ntohs(reinterpret_cast<const sockaddr_in *>(&address.storage)->sin_port);
    return endpoint;
}

void set(const Descriptor &socket, int level, int option, int value = 1)
{
    setsockopt(socket.get(), level, option, &value, sizeof value);
}

// An end that was switched off says nothing; one that waits for it would wait for ever.
void setUpStream(const Descriptor &socket)
{
    set(socket, IPPROTO_TCP, TCP_NODELAY);
    set(socket, SOL_SOCKET, SO_KEEPALIVE);
    set(socket, IPPROTO_TCP, TCP_KEEPIDLE, keepAliveSeconds);
    set(socket, IPPROTO_TCP, TCP_KEEPINTVL, keepAliveSeconds / 4);
}

} // namespace

Descriptor listenAt(const Endpoint &endpoint)
{
    Address address = addressOf(endpoint);
    Descriptor listener(socket(address.family(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    set(listener, SOL_SOCKET, SO_REUSEADDR);
    if (bind(listener.get(), address.get(), address.length) != 0 || listen(listener.get(), 4) != 0)
        return Descriptor();
    return listener;
}

Descriptor acceptFrom(const Descriptor &listener)
{
    Descriptor socket(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    setUpStream(socket);
    return socket;
}

Descriptor beginToConnect(const Endpoint &endpoint)
{
    Address address = addressOf(endpoint);
    Descriptor socket(::socket(address.family(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    setUpStream(socket);
    if (connect(socket.get(), address.get(), address.length) != 0 && errno != EINPROGRESS)
        return Descriptor();
    return socket;
}

bool isLeft(const Descriptor &socket)
{
    pollfd left = { socket.get(), POLLRDHUP, 0 };
    return poll(&left, 1, 0) > 0;
}

int connectionError(const Descriptor &socket)
{
    int error = 0;
    socklen_t length = sizeof error;
    return getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
}

Endpoint localEnd(const Descriptor &socket)
{
    Address address;
    getsockname(socket.get(), address.get(), &address.length);
    return endpointOf(address);
}

Endpoint remoteEnd(const Descriptor &socket)
{
    Address address;
    getpeername(socket.get(), address.get(), &address.length);
    return endpointOf(address);
}

void resetConnection(Descriptor *socket)
{
    const linger atOnce = { 1, 0 };
    setsockopt(socket->get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    *socket = Descriptor();
}

} // namespace capture
