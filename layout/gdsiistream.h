#ifndef LAYOUT_GDSIISTREAM_H
#define LAYOUT_GDSIISTREAM_H

#include <QByteArray>
#include <QString>
#include <QVector>

namespace layout {

/// A GDSII file whose records were all checked. The reading library leaves the process on a broken
/// file, so it gets nothing but `bytes`.
struct GdsiiStream {
    /// The records that make geometry, the way the library understands them. Structures are named
    /// by their number and texts stand as theirs, because it alters characters it does not like.
    QByteArray bytes;
    QByteArray libraryName;
    QVector<QByteArray> texts; ///< as in the file, by number
    QVector<QByteArray> structureNames; ///< as in the file, by number
};

/// Checks `file` (the whole content) and fills `stream`. Returns false with the reason in `error`
/// for anything that is not a complete GDSII file: a bad record, a reference to a structure that is
/// not there or contains itself, more polygons than memory has room for.
bool checkGdsii(const QByteArray &file, GdsiiStream *stream, QString *error);

} // namespace layout

#endif
