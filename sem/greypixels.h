#ifndef SEM_GREYPIXELS_H
#define SEM_GREYPIXELS_H

#include <QtGlobal>

/// Turns grey levels, one byte each, into as many opaque pixels of QImage::Format_RGB32. The two
/// must not overlap.
void expandGrey(const uchar *grey, int count, quint32 *pixels);

/// The same, past the caches where the processor can: for pixels that nobody reads soon.
void expandGreyPastCache(const uchar *grey, int count, quint32 *pixels);

#endif
