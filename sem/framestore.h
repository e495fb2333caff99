#ifndef SEM_FRAMESTORE_H
#define SEM_FRAMESTORE_H

#include <QImage>
#include <QVector>

/// Lets a frame be written while a reader still holds an implicitly shared copy of it.
///
/// A plain write would then copy the whole frame. The store keeps a second frame of the same size
/// and remembers which pixels it lacks; when the front frame turns out to be shared, the two swap
/// places after those pixels were copied over. So the cost follows the pixels that arrived, and the
/// reader's copy never changes.
class FrameStore {
public:
    FrameStore()
        : m_stalePixels(0)
    {
    }

    /// Forgets the second frame, for a new front frame.
    void reset();

    /// Makes the second frame now rather than in the middle of a scan; copies a large frame whole.
    void prepare(const QImage &front);

    /// Makes `front` writable without touching anybody's copy; `front` may become the other frame.
    /// Only when readers hold both frames is one copied whole.
    void makeWritable(QImage *front);

    /// Notes that the pixels first to first + count - 1, counted row by row, were written.
    void written(int first, int count);

private:
    struct Run {
        int first, count;
    };
    void catchUp(const QImage &front);
    void forget();

    QImage m_spare;
    QVector<Run> m_stale; ///< what the spare frame lacks
    int m_stalePixels; ///< their number; the frame's at most
};

#endif
