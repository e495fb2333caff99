#ifndef HOSTING_CHANGEDROWS_H
#define HOSTING_CHANGEDROWS_H

#include <QImage>

namespace hosting {

/// Where a live image differs from the one taken before it: in the rows that the beam went over
/// meanwhile. They follow each other from where the beam was seen last, which is why hardly more
/// than those has to be looked at.
class ChangedRows {
public:
    /// Keeps a shared copy of `image`; nothing is found in one of other than 32 bits a pixel.
    void take(const QImage &image);
    const QImage &image() const { return m_image; } ///< taken last

    bool wasFound() const { return m_last >= 0; }
    bool isAll() const
    {
        return m_isAll;
    } ///< a whole frame and perhaps more: the beam may be anywhere
    int last() const
    {
        return m_last;
    } ///< the row that the beam is in; negative if it was not found
    /// Of an unbroken run of rows down to last(); negative if it is not known where that began.
    int first() const { return m_first; }

private:
    bool differs(const QImage &before, int row) const;
    int search(const QImage &before);
    int following(int row) const { return row + 1 < m_image.height() ? row + 1 : 0; }

    QImage m_image;
    int m_start = 0; ///< row at which the beam was seen last
    int m_first = -1, m_last = -1;
    bool m_isAll = false;
    quint32 m_searches = 0;
};

} // namespace hosting

#endif
