#ifndef HOST_LAYERLIST_H
#define HOST_LAYERLIST_H

#include <QSet>
#include <QWidget>

class QListWidget;

namespace layout {
class Design;
}

namespace viewer {

/// The layers of the design with their colours; the check marks switch them on and off.
class LayerList : public QWidget {
    Q_OBJECT
public:
    explicit LayerList(QWidget *parent = nullptr);

    /// Lists the layers of `design`, all switched on.
    void setDesign(const layout::Design &design);

signals:
    void hiddenLayersChanged(const QSet<int> &numbers);

private:
    void setAll(bool shown);
    void report();

    QListWidget *m_list;
};

} // namespace viewer

#endif
