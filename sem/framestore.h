#ifndef SEM_FRAMESTORE_H
#define SEM_FRAMESTORE_H

#include <QByteArray>
#include <QImage>
#include <QVector>

/// Lets a frame be written while a reader still holds an implicitly shared copy of it.
///
/// A plain write would then copy the whole frame. The store keeps a second frame of the same size
/// and remembers which pixels it lacks; when the front frame turns out to be shared, the two swap
/// places after those pixels were written there, too. So the cost follows the pixels that arrived,
/// and the reader's copy never changes.
class FrameStore {
public:
    FrameStore();

    /// Forgets the second frame, for a new front frame.
    void reset();

    /// Makes the second frame now rather than in the middle of a scan; copies a large frame whole.
    void prepare(const QImage &front);

    /// Makes `front` writable without touching anybody's copy; `front` may become the other frame.
    /// Only when readers hold both frames is one copied whole.
    void makeWritable(QImage *front);

    /// Writes `count` grey levels, which begin at `offset` in `bytes`, to the pixels of the
    /// writable `front` that begin at `first`, counted row by row.
    void write(QImage *front, int first, int count, const QByteArray &bytes, int offset);

    /// Removes the first `used` of the bytes that were written from; may keep them for the second
    /// frame, to which they are the quicker source.
    void finish(QByteArray *bytes, int used);

    /// The bytes that were written from are gone.
    void forgetBytes();

private:
    struct Run {
        int first, count; ///< pixels
        int offset; ///< of their grey levels in the bytes that they were written from
    };

    void remember(const Run &run);
    void lose(QVector<Run> *runs);
    void catchUp(const QImage &front);
    void forget();

    QImage m_spare;
    QVector<Run> m_stale; ///< what the spare frame lacks, to be copied from the front frame
    int m_stalePixels; ///< their number; the frame's at most
    QVector<Run> m_written; ///< lacking, too: since the last finish()
    int m_writtenPixels;
    QVector<Run> m_kept; ///< lacking, too, and the newest at their places: levels in m_bytes
    QByteArray m_bytes;
    bool m_shared; ///< since the last finish() a reader was found to hold the front frame
};

#endif
