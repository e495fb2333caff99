#include "host/imagepanel.h"
#include "host/background.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>

namespace viewer {

ImagePanel::ImagePanel(Background *background, QWidget *parent)
    : QWidget(parent)
    , m_background(background)
    , m_fade(new QSlider(Qt::Horizontal))
    , m_stills(new QListWidget)
    , m_save(new QPushButton(tr("Save as PNG\u2026")))
    , m_remove(new QPushButton(tr("Remove")))
{
    auto *percent = new QLabel;
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(4, 4, 4, 4);
    grid->addWidget(new QLabel(tr("Image")), 0, 0);
    grid->addWidget(m_fade, 0, 1);
    grid->addWidget(percent, 0, 2);
    grid->addWidget(new QLabel(tr("Stills")), 1, 0, 1, 3);
    grid->addWidget(m_stills, 2, 0, 1, 3);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_save);
    buttons->addWidget(m_remove);
    grid->addLayout(buttons, 3, 0, 1, 3);

    m_fade->setObjectName("fade");
    m_stills->setObjectName("stills");
    m_fade->setRange(0, 100);
    m_fade->setToolTip(tr("How opaque the microscope image is drawn"));
    percent->setMinimumWidth(percent->fontMetrics().horizontalAdvance("100 %"));
    connect(m_fade, &QSlider::valueChanged, this, [this, percent](int value) {
        m_background->setOpacity(value / 100.0);
        percent->setText(tr("%1 %").arg(value));
    });
    m_fade->setValue(100);
    connect(background, &Background::stillsChanged, this, &ImagePanel::listStills);
    connect(m_stills, &QListWidget::itemChanged, this, [this](QListWidgetItem *item) {
        m_background->setStillVisible(m_stills->row(item), item->checkState() == Qt::Checked);
    });
    connect(m_stills, &QListWidget::currentRowChanged, this, &ImagePanel::enableButtons);
    connect(m_save, &QPushButton::clicked, this, &ImagePanel::saveStill);
    connect(m_remove, &QPushButton::clicked, this, &ImagePanel::removeStill);
    enableButtons();
}

void ImagePanel::listStills()
{
    const QSignalBlocker quiet(m_stills);
    m_stills->clear();
    for (const Still &still : m_background->stills()) {
        auto *item = new QListWidgetItem(still.name);
        item->setToolTip(tr("%1 x %2 pixels").arg(still.image.width()).arg(still.image.height()));
        item->setCheckState(still.visible ? Qt::Checked : Qt::Unchecked);
        m_stills->addItem(item);
    }
    m_stills->setCurrentRow(m_stills->count() - 1);
    enableButtons();
}

void ImagePanel::enableButtons()
{
    const bool chosen = m_stills->currentRow() >= 0;
    m_save->setEnabled(chosen);
    m_remove->setEnabled(chosen);
}

void ImagePanel::saveStill()
{
    const Still still = m_background->stills()[m_stills->currentRow()];
    const QString file = QFileDialog::getSaveFileName(this, tr("Save %1").arg(still.name),
                                                      still.name + ".png", tr("PNG (*.png)"));
    if (!file.isEmpty() && !still.image.save(file, "PNG"))
        QMessageBox::warning(this, tr("Save"), tr("Cannot write %1.").arg(file));
}

void ImagePanel::removeStill()
{
    m_background->removeStill(m_stills->currentRow());
}

} // namespace viewer
