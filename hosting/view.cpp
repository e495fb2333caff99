#include "hosting/view.h"

#include <cmath>

namespace hosting {

bool View::isValid() const
{
    return std::isfinite(centre.x()) && std::isfinite(centre.y()) && std::isfinite(zoom) && zoom > 0
        && !size.isEmpty();
}

QTransform View::toScreen() const
{
    return QTransform(zoom, 0, 0, -zoom, size.width() / 2.0 - centre.x() * zoom,
                      size.height() / 2.0 + centre.y() * zoom);
}

} // namespace hosting
