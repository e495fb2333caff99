#include "host/layerlist.h"
#include "host/layerpainter.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace viewer {

LayerList::LayerList(QWidget *parent)
    : QWidget(parent)
    , m_list(new QListWidget)
{
    auto *all = new QPushButton(tr("All"));
    auto *none = new QPushButton(tr("None"));
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(all);
    buttons->addWidget(none);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(4, 4, 4, 4);
    column->addWidget(m_list);
    column->addLayout(buttons);
    m_list->setObjectName("layers");
    m_list->setSelectionMode(QAbstractItemView::NoSelection);
    connect(m_list, &QListWidget::itemChanged, this, &LayerList::report);
    connect(all, &QPushButton::clicked, this, [this] { setAll(true); });
    connect(none, &QPushButton::clicked, this, [this] { setAll(false); });
}

static QIcon swatch(const QColor &colour)
{
    QPixmap pixmap(22, 14);
    pixmap.fill(QColor(22, 26, 32));
    QPainter painter(&pixmap);
    QColor fill = colour;
    fill.setAlpha(110);
    painter.setPen(QPen(colour, 2));
    painter.setBrush(fill);
    painter.drawRect(1, 1, 20, 12);
    return QIcon(pixmap);
}

void LayerList::setDesign(const layout::Design &design)
{
    const QSignalBlocker quiet(m_list);
    m_list->clear();
    m_list->setIconSize(QSize(22, 14));
    for (int i = 0; i < design.layers().size(); ++i) {
        const layout::Layer &layer = design.layers()[i];
        auto *item = new QListWidgetItem(swatch(layerColour(i)), tr("Layer %1").arg(layer.number));
        item->setToolTip(tr("%n polygon(s)", nullptr, layer.polygons.size()));
        item->setData(Qt::UserRole, layer.number);
        item->setCheckState(Qt::Checked);
        m_list->addItem(item);
    }
}

void LayerList::setAll(bool shown)
{
    {
        const QSignalBlocker quiet(m_list);
        for (int i = 0; i < m_list->count(); ++i)
            m_list->item(i)->setCheckState(shown ? Qt::Checked : Qt::Unchecked);
    }
    report();
}

void LayerList::report()
{
    QSet<int> hidden;
    for (int i = 0; i < m_list->count(); ++i)
        if (m_list->item(i)->checkState() != Qt::Checked)
            hidden.insert(m_list->item(i)->data(Qt::UserRole).toInt());
    emit hiddenLayersChanged(hidden);
}

} // namespace viewer
