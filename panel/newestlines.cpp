#include "panel/newestlines.h"

#include <QEvent>
#include <QLabel>
#include <QPainter>

namespace {
const int flags = Qt::AlignLeft | Qt::AlignBottom | Qt::TextWordWrap | Qt::TextDontClip;

QString lastLines(const QString &text, int count)
{
    int start = text.size();
    while (start > 0 && (text.at(start - 1) != QLatin1Char('\n') || --count > 0))
        --start;
    return text.mid(start);
}
} // namespace

NewestLines::NewestLines(QLabel *label)
    : QObject(label)
    , m_label(label)
{
    label->installEventFilter(this);
}

// No more lines than can be seen are laid out, however long the text.
bool NewestLines::eventFilter(QObject *, QEvent *event)
{
    if (event->type() != QEvent::Paint)
        return false;
    const QFontMetrics metrics = m_label->fontMetrics();
    const QRect room = m_label->contentsRect();
    const QString text = lastLines(m_label->text(), room.height() / metrics.lineSpacing() + 2);
    if (metrics.boundingRect(room, flags, text).height() <= room.height())
        return false;
    QPainter painter(m_label);
    painter.setPen(m_label->palette().color(m_label->foregroundRole()));
    painter.drawText(room, flags, text);
    return true;
}
