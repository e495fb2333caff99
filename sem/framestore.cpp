#include "sem/framestore.h"

#include "sem/greypixels.h"

#include <cstring>

namespace {
// A scan arrives in order, so runs join up; more than this means that the microscope jumps about
// and copying the frame whole is as good.
const int maximumStale = 64;
// The messages of a read, each a run; more are remembered by their places alone.
const int maximumWritten = 4096;
// Two frames of more than this drive everything else out of the caches.
const int cachePixels = 1024 * 1024;

// QImage::bits() would detach; the caller has made sure that nobody else holds the image.
quint32 *pixels(QImage *image)
{
    return reinterpret_cast<quint32 *>(image->bits());
}

int pixelCount(const QImage &image)
{
    return image.width() * image.height();
}
} // namespace

FrameStore::FrameStore()
    : m_stalePixels(0)
    , m_writtenPixels(0)
    , m_shared(false)
{
}

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
    m_shared = true;
}

void FrameStore::write(QImage *front, int first, int count, const QByteArray &bytes, int offset)
{
    expandGrey(reinterpret_cast<const uchar *>(bytes.constData()) + offset, count,
               pixels(front) + first);
    m_writtenPixels = qMin(m_writtenPixels + count, pixelCount(*front));
    if (!m_written.isEmpty()) {
        Run &last = m_written.last();
        if (last.first + last.count == first && last.offset + last.count == offset) {
            last.count += count;
            return;
        }
    }
    if (m_written.size() == maximumWritten)
        lose(&m_written);
    const Run run = { first, count, offset };
    m_written.append(run);
}

void FrameStore::finish(QByteArray *bytes, int used)
{
    if (used <= 0)
        return;
    lose(&m_kept);
    // Whoever held the last frame will hold this one, too. Bytes that fill the frame more than once
    // are no quicker than the frame.
    if (m_shared && m_writtenPixels < pixelCount(m_spare)) {
        if (m_bytes.capacity() < bytes->capacity())
            m_bytes.reserve(bytes->capacity()); // the arrays take turns, and neither shall shrink
        m_bytes.resize(0);
        m_bytes.append(bytes->constData() + used, bytes->size() - used);
        qSwap(m_bytes, *bytes);
        qSwap(m_kept, m_written);
    } else {
        lose(&m_written);
        bytes->remove(0, used);
    }
    m_writtenPixels = 0;
    m_shared = false;
}

void FrameStore::forgetBytes()
{
    // What was written is newer than what the kept bytes hold, and at the same places perhaps.
    lose(&m_kept);
    lose(&m_written);
    m_bytes.clear();
}

void FrameStore::forget()
{
    m_stale.resize(0);
    m_stalePixels = 0;
    m_written.resize(0);
    m_writtenPixels = 0;
    m_kept.resize(0);
}

void FrameStore::remember(const Run &run)
{
    const int framePixels = pixelCount(m_spare);
    if (m_stalePixels >= framePixels)
        return;
    m_stalePixels += run.count;
    if (m_stalePixels >= framePixels || m_stale.size() == maximumStale) {
        const Run everything = { 0, framePixels, 0 };
        m_stale.fill(everything, 1);
        m_stalePixels = framePixels;
    } else if (!m_stale.isEmpty() && m_stale.last().first + m_stale.last().count == run.first) {
        m_stale.last().count += run.count;
    } else {
        m_stale.append(run);
    }
}

/// Their bytes will be gone: from now on the front frame is the source of these runs.
void FrameStore::lose(QVector<Run> *runs)
{
    for (int i = 0; i < runs->size(); ++i)
        remember(runs->at(i));
    runs->resize(0);
}

void FrameStore::catchUp(const QImage &front)
{
    if (!m_written.isEmpty())
        forgetBytes();
    quint32 *to = pixels(&m_spare);
    const quint32 *from = reinterpret_cast<const quint32 *>(front.constBits());
    for (int i = 0; i < m_stale.size(); ++i) {
        const Run &run = m_stale.at(i);
        std::memcpy(to + run.first, from + run.first, size_t(run.count) * sizeof(quint32));
    }
    const uchar *grey = reinterpret_cast<const uchar *>(m_bytes.constData());
    const bool large = pixelCount(front) > cachePixels;
    for (int i = 0; i < m_kept.size(); ++i) {
        const Run &run = m_kept.at(i);
        (large ? expandGreyPastCache : expandGrey)(grey + run.offset, run.count, to + run.first);
    }
}
