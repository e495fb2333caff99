#ifndef HOSTING_IMAGEFINDER_H
#define HOSTING_IMAGEFINDER_H

#include "hosting/layershapes.h"
#include "hosting/placement.h"
#include "matching/find.h"

#include <QObject>
#include <QRectF>
#include <QThread>

#include <atomic>
#include <memory>

class QImage;

namespace hosting {

class Background;
class PluginSession;

/// How the design says that an image lies: what matching knows as a pose.
matching::Pose poseOf(const Placement &placement, const QSize &image);
Placement placementOf(const matching::Pose &pose, const QSize &image);

/// Looks in the design for the place where the live image belongs. Two steps, since only the host
/// knows the shapes: lookAround() says where they are wanted, find() looks in a thread of its own.
class ImageFinder : public QObject {
    Q_OBJECT
public:
    /// What became of it.
    struct Finding {
        bool isFound = false;
        Placement from, to; ///< where the image lay when it began, and where it belongs
        double deviationPixels = 0; ///< standard deviation of the place, image pixels
        QString text; ///< for the user
    };

    /// Both must outlive this object.
    ImageFinder(PluginSession *session, const Background *background);
    ~ImageFinder() override;

    /// The part of the design in which the image may lie, database units, as far as pairs and
    /// assumption tell, and its surroundings, where nothing must look the same. Empty if there is
    /// no live image to look for.
    QRectF lookAround();
    /// Looks there; the image counts as it lay then. Emits finished() later on, unless cancelled.
    /// One search at a time: another one is cancelled.
    void find(const LayerShapes &shapes);
    void cancel();
    bool isBusy() const { return m_thread != nullptr; }

signals:
    void finished(const hosting::ImageFinder::Finding &finding);

private:
    void take(const matching::Match &match);
    QString foundText(const matching::Match &match) const;

    PluginSession *m_session;
    const Background *m_background;
    matching::Start m_start;
    Finding m_finding; ///< under way
    std::unique_ptr<QThread> m_thread;
    std::shared_ptr<std::atomic<bool>> m_cancelled;
};

} // namespace hosting

#endif
