#include "klayout/imagedock.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSlider>

namespace klayout {

ImageDock::ImageDock(QWidget *parent)
    : QWidget(parent)
{
    auto *column = new QVBoxLayout(this);
    column->addWidget(buildPainting());
    column->addWidget(buildClones(), 1);
}

QWidget *ImageDock::buildPainting()
{
    auto *group = new QGroupBox(tr("image and design"));
    auto *grid = new QGridLayout(group);
    m_tab = new QLabel;
    m_tab->setWordWrap(true);
    m_takeTab = new QPushButton(tr("show in this tab"));
    m_takeTab->setObjectName("takeTab");
    m_order = new QComboBox;
    m_order->setObjectName("order");
    m_order->addItems({ tr("behind the layers"), tr("above the layers"), tr("multiplied") });
    m_order->setAccessibleName(tr("order of image and layers"));
    m_order->setToolTip(tr("How the microscope's image and the layers are put together"));
    auto *outline = new QCheckBox(tr("outlines only"));
    outline->setObjectName("outlineOnly");
    outline->setToolTip(tr("Draws the layers without fill, so that they hide nothing"));
    auto *contours = new QCheckBox(tr("predicted error"));
    contours->setObjectName("contours");
    contours->setToolTip(tr("Contours of how far off the image may lie, in 95 of 100 cases"));
    auto *off = new QPushButton(tr("design off"));
    off->setObjectName("designOff");
    off->setToolTip(tr("Shows the image alone while pressed; the key D does it on the canvas"));
    grid->addWidget(m_tab, 0, 0, 1, 3);
    grid->addWidget(m_takeTab, 1, 0, 1, 3);
    grid->addWidget(m_order, 2, 0, 1, 3);
    m_imageOpacity = addSlider(grid, 3, tr("image"), "imageOpacity");
    m_designOpacity = addSlider(grid, 4, tr("design"), "designOpacity");
    grid->addWidget(outline, 5, 0, 1, 3);
    grid->addWidget(contours, 6, 0, 1, 3);
    grid->addWidget(off, 7, 0, 1, 3);
    grid->setColumnStretch(1, 1);
    connect(m_order, QOverload<int>::of(&QComboBox::activated), this, &ImageDock::styleChanged);
    connect(outline, &QCheckBox::toggled, this, &ImageDock::outlineOnlyChanged);
    connect(contours, &QCheckBox::toggled, this, &ImageDock::contoursChanged);
    connect(off, &QPushButton::pressed, this, [this] { emit designOffChanged(true); });
    connect(off, &QPushButton::released, this, [this] { emit designOffChanged(false); });
    connect(m_takeTab, &QPushButton::clicked, this, &ImageDock::tabWanted);
    showTab(QString(), false);
    return group;
}

QSlider *ImageDock::addSlider(QGridLayout *grid, int row, const QString &label, const char *name)
{
    auto *slider = new QSlider(Qt::Horizontal);
    auto *percent = new QLabel;
    auto *buddy = new QLabel(label);
    buddy->setBuddy(slider);
    slider->setObjectName(name);
    slider->setRange(0, 100);
    slider->setToolTip(tr("How opaque the %1 is drawn").arg(label));
    percent->setMinimumWidth(percent->fontMetrics().horizontalAdvance("100 %"));
    grid->addWidget(buddy, row, 0);
    grid->addWidget(slider, row, 1);
    grid->addWidget(percent, row, 2);
    connect(slider, &QSlider::valueChanged, this, [this, percent](int value) {
        percent->setText(tr("%1 %").arg(value));
        emit styleChanged();
    });
    const QSignalBlocker quiet(this);
    slider->setValue(100);
    return slider;
}

QWidget *ImageDock::buildClones()
{
    auto *group = new QGroupBox(tr("clones"));
    auto *grid = new QGridLayout(group);
    m_clones = new QListWidget;
    m_clones->setObjectName("clones");
    m_clones->setAccessibleName(group->title());
    m_save = new QPushButton(tr("save as PNG\u2026"));
    m_remove = new QPushButton(tr("remove"));
    grid->addWidget(m_clones, 0, 0, 1, 2);
    grid->addWidget(m_save, 1, 0);
    grid->addWidget(m_remove, 1, 1);
    connect(m_clones, &QListWidget::itemChanged, this, [this](QListWidgetItem *item) {
        emit cloneShown(item->data(Qt::UserRole).toString(), item->checkState() == Qt::Checked);
    });
    connect(m_clones, &QListWidget::currentRowChanged, this, &ImageDock::enableCloneButtons);
    connect(m_save, &QPushButton::clicked, this, [this] { emit cloneToSave(currentClone()); });
    connect(m_remove, &QPushButton::clicked, this, [this] { emit cloneToRemove(currentClone()); });
    enableCloneButtons();
    return group;
}

hosting::DrawingStyle ImageDock::style() const
{
    hosting::DrawingStyle style;
    style.order = hosting::DrawingStyle::Order(m_order->currentIndex());
    style.imageOpacity = m_imageOpacity->value() / 100.0;
    style.designOpacity = m_designOpacity->value() / 100.0;
    return style;
}

void ImageDock::showTab(const QString &title, bool elsewhere)
{
    m_tab->setText(title.isEmpty() ? tr("No design is open.")
                                   : tr("In the tab \u201c%1\u201d").arg(title));
    m_takeTab->setEnabled(elsewhere);
}

void ImageDock::showClones(const QString &lines)
{
    const QSignalBlocker quiet(m_clones);
    const int row = m_clones->currentRow();
    m_clones->clear();
    for (const QString &line : lines.split('\n', Qt::SkipEmptyParts)) {
        const QStringList fields = line.split('\t');
        if (fields.size() != 3)
            continue;
        auto *item = new QListWidgetItem(fields[2], m_clones);
        item->setData(Qt::UserRole, fields[0]);
        item->setCheckState(fields[1] == "1" ? Qt::Checked : Qt::Unchecked);
    }
    m_clones->setCurrentRow(qMin(row, m_clones->count() - 1));
    enableCloneButtons();
}

QString ImageDock::currentClone() const
{
    const QListWidgetItem *item = m_clones->currentItem();
    return item ? item->data(Qt::UserRole).toString() : QString();
}

void ImageDock::enableCloneButtons()
{
    for (QPushButton *button : { m_save, m_remove })
        button->setEnabled(m_clones->currentItem());
}

} // namespace klayout
