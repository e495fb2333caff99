#ifndef HOSTING_MOVEHISTORY_H
#define HOSTING_MOVEHISTORY_H

#include "hosting/placement.h"

#include <QObject>
#include <QVector>

namespace hosting {

class Background;

/// Undo and redo for the user's moves of the image, which it learns of from the Background.
///
/// It holds places, not changes, and a place is right only for the stage position, view field and
/// frame size at which the image lay there. So the history ends, in both directions, as soon as the
/// plugin puts the image anywhere else or at another scale; a plugin that confirms where the image
/// lies ends nothing.
class MoveHistory : public QObject {
    Q_OBJECT
public:
    /// `background` must outlive this object.
    explicit MoveHistory(Background *background, QObject *parent = nullptr);

    /// All moves from here to end() are one step. Without, each move is one.
    void begin();
    void end();

    /// False as well while no image is shown.
    bool canUndo() const;
    bool canRedo() const;

public slots:
    /// Each puts the image where it lay one step before or after, as a move of the user's; nothing
    /// happens when there is no such step.
    void undo();
    void redo();
    void clear();

signals:
    void changed(); ///< there may be something else to undo or redo

private:
    void record();
    void follow();
    void step(int by);

    Background *m_background;
    QVector<Placement> m_places; ///< never empty: before the first step, after it, after the second
    int m_at = 0; ///< which of them the image has now
    bool m_joins = false; ///< between begin() and end()
    bool m_stepIsOpen = false; ///< the next move still belongs to the last step
};

} // namespace hosting

#endif
