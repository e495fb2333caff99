#include "sem/framestore.h"

#include <cstring>

namespace {
// A scan arrives in order, so runs join up; more than this means that the microscope jumps about
// and copying the frame whole is as good.
const int maximumRuns = 64;

// QImage::bits() would detach; the caller has made sure that nobody else holds the image.
quint32 *pixels(QImage *image)
{
    return reinterpret_cast<quint32 *>(image->bits());
}
} // namespace

void FrameStore::reset()
{
    forget();
    m_spare = QImage();
}

void FrameStore::prepare(const QImage &front)
{
    if (m_spare.size() == front.size())
        return;
    forget();
    m_spare = front.copy();
}

void FrameStore::makeWritable(QImage *front)
{
    if (front->isNull() || front->isDetached())
        return;
    if (m_spare.isDetached() && m_spare.size() == front->size()) {
        catchUp(*front);
        qSwap(m_spare, *front);
    } else {
        m_spare = *front;
        *front = m_spare.copy();
    }
    forget();
}

void FrameStore::forget()
{
    m_stale.clear();
    m_stalePixels = 0;
}

void FrameStore::written(int first, int count)
{
    const int framePixels = m_spare.width() * m_spare.height();
    if (m_stalePixels >= framePixels)
        return;
    m_stalePixels += count;
    if (m_stalePixels >= framePixels || m_stale.size() == maximumRuns) {
        const Run everything = { 0, framePixels };
        m_stale.fill(everything, 1);
        m_stalePixels = framePixels;
    } else if (!m_stale.isEmpty() && m_stale.last().first + m_stale.last().count == first) {
        m_stale.last().count += count;
    } else {
        const Run run = { first, count };
        m_stale.append(run);
    }
}

void FrameStore::catchUp(const QImage &front)
{
    quint32 *to = pixels(&m_spare);
    const quint32 *from = reinterpret_cast<const quint32 *>(front.constBits());
    for (int i = 0; i < m_stale.size(); ++i) {
        const Run &run = m_stale.at(i);
        std::memcpy(to + run.first, from + run.first, size_t(run.count) * sizeof(quint32));
    }
}
