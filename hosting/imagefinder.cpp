#include "hosting/imagefinder.h"
#include "hosting/background.h"
#include "hosting/pluginsession.h"

#include <QTransform>

#include <cmath>

namespace hosting {

// Of the image's width: the farthest that the centre may be off, and the least that is searched.
static const double mostReach = 0.5, leastReach = 0.05;
static const double surroundings = 1.5; // in which nothing must look the same
static const double leastErrorPixels = 0.5; // of what is claimed: images differ from the design
static const double degree = M_PI / 180;

static QPointF middleOf(const QSize &image)
{
    return QRectF(QPointF(), QSizeF(image)).center();
}

matching::Pose poseOf(const Placement &placement, const QSize &image)
{
    const QTransform m = placement.toTransform();
    const QPointF centre = m.map(middleOf(image));
    return { { centre.x(), centre.y() }, { m.m11(), m.m21(), m.m12(), m.m22() } };
}

Placement placementOf(const matching::Pose &pose, const QSize &image)
{
    const cv::Matx22d &a = pose.axes;
    const QTransform linear(a(0, 0), a(1, 0), a(0, 1), a(1, 1), 0, 0);
    const QPointF corner = QPointF(pose.centre.x, pose.centre.y) - linear.map(middleOf(image));
    return Placement::fromTransform(linear * QTransform::fromTranslate(corner.x(), corner.y()));
}

ImageFinder::ImageFinder(PluginSession *session, const Background *background)
    : m_session(session)
    , m_background(background)
{
}

ImageFinder::~ImageFinder()
{
    cancel();
}

void ImageFinder::cancel()
{
    if (!m_thread)
        return;
    *m_cancelled = true;
    m_thread->wait();
    m_thread.reset();
}

QRectF ImageFinder::lookAround()
{
    cancel();
    const QSize size = m_background->image().size();
    if (!m_background->isShown() || !m_session->panel()->showsLiveImage())
        return QRectF();
    const WaferAssumption &assumption = m_session->assumption();
    const double unit = m_session->design().micrometres();
    const AlignError error(m_session->confirmedPairs(), assumption);
    m_finding.from = m_background->placement();
    m_start.pose = poseOf(m_background->placement(), size);
    const QPointF centre(m_start.pose.centre.x, m_start.pose.centre.y);
    const double width = m_start.pose.pixelSize() * qMax(size.width(), size.height());
    // How well the user placed it is not known.
    const bool byMap = m_session->movedByHand().manhattanLength() < m_start.pose.pixelSize();
    const double off = byMap ? error.at(centre * unit) / unit : width;
    m_start.reach = qBound(leastReach * width, off, mostReach * width);
    // Pairs tell how the stage moves, not how the image lies.
    m_start.turn = assumption.turnDegrees * degree;
    m_start.scale = assumption.scalePercent / 100;
    const double half = width * (0.8 + m_start.turn + m_start.scale + surroundings) + m_start.reach;
    return QRectF(centre - QPointF(half, half), QSizeF(2 * half, 2 * half));
}

void ImageFinder::find(const LayerShapes &shapes)
{
    cancel();
    const QImage grey = m_background->image().convertToFormat(QImage::Format_Grayscale8);
    m_cancelled = std::make_shared<std::atomic<bool>>(false);
    matching::Options options;
    options.lookAround = surroundings;
    options.leastConfidenceIfClear = options.leastConfidence; // a wrong place is worse than none
    options.cancelled = [cancelled = m_cancelled] { return cancelled->load(); };
    const auto search = [this, shapes, grey, options, start = m_start, cancelled = m_cancelled] {
        const cv::Mat pixels(grey.height(), grey.width(), CV_8U,
                             const_cast<uchar *>(grey.constBits()), size_t(grey.bytesPerLine()));
        const auto design = [&](const matching::Window &window) { return shapes.coverage(window); };
        const matching::Match match = matching::find(pixels, design, start, options);
        QMetaObject::invokeMethod(this, [this, match, cancelled] {
            if (!*cancelled)
                take(match);
        });
    };
    m_thread.reset(QThread::create(search));
    m_thread->start(QThread::LowPriority);
}

// Why not, and what to do about it.
static QString refusalText(matching::Refusal refusal)
{
    using matching::Refusal;
    switch (refusal) {
    case Refusal::NoShapes:
        return ImageFinder::tr("The visible layers have no shapes there.");
    case Refusal::Empty:
        return ImageFinder::tr("The image shows nothing but noise: is the beam on, and in focus?");
    case Refusal::Repetitive:
        return ImageFinder::tr("The design repeats itself there: go to a place that is unlike its "
                               "surroundings, or show more of it.");
    case Refusal::Alike:
        return ImageFinder::tr("Another place looks the same: bring the image closer to where it "
                               "belongs, or go to a place that is unlike its surroundings.");
    case Refusal::NoFit:
        return ImageFinder::tr("The design does not explain the image: bring it closer to where it "
                               "belongs by hand, or show the layers that the microscope sees.");
    default:
        return ImageFinder::tr("The image cannot be compared with the design.");
    }
}

QString ImageFinder::foundText(const matching::Match &match) const
{
    const matching::Pose &from = m_start.pose, &to = match.pose;
    const double unit = m_session->design().micrometres();
    Correction moved;
    moved.offset = QPointF(to.centre.x - from.centre.x, to.centre.y - from.centre.y) * unit;
    moved.turnDegrees = std::remainder(to.turn() - from.turn(), 2 * M_PI) / degree;
    moved.scale = to.pixelSize() / from.pixelSize();
    const double pixels = qMax(leastErrorPixels, match.errorPixels);
    return tr("Found: %1. Off by at most %2 = %3 pixels in 95 of 100 cases (confidence %4).")
        .arg(moved.text(), lengthText(pixels * to.pixelSize() * unit))
        .arg(pixels, 0, 'f', 1)
        .arg(match.confidence, 0, 'f', 1);
}

void ImageFinder::take(const matching::Match &match)
{
    m_thread->wait();
    m_thread.reset();
    m_finding.isFound = match.accepted();
    m_finding.text =
        m_finding.isFound ? foundText(match) : tr("Not found. %1").arg(refusalText(match.refusal));
    if (m_finding.isFound) {
        m_finding.to = placementOf(match.pose, m_background->image().size());
        m_finding.deviationPixels = qMax(leastErrorPixels, match.errorPixels) / radius95(1, 1);
    }
    emit finished(m_finding);
}

} // namespace hosting
