#include "recorder/segment.h"

namespace capture {

QString Endpoint::text() const
{
    const bool bracketed = address.protocol() == QAbstractSocket::IPv6Protocol;
    return QStringLiteral("%1:%2")
        .arg(bracketed ? '[' + address.toString() + ']' : address.toString())
        .arg(port);
}

} // namespace capture
