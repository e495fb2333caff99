#include "hosting/designmemory.h"

#include <QSettings>

namespace hosting {

static const char posesKey[] = "background/poses";
static const char pairsKey[] = "background/pairs";
static const char clearedKey[] = "background/cleared";
static const char turnKey[] = "background/turnDegrees", scaleKey[] = "background/scalePercent";

using Numbers = QVector<double>;

static Numbers numbersOf(const Pose &pose)
{
    return { pose.scaleX, pose.scaleY, pose.shearH, pose.shearV, pose.rotationDegrees };
}

static Numbers numbersOf(const QVector<PickedPair> &pairs)
{
    Numbers numbers;
    for (const PickedPair &pair : pairs)
        numbers << pair.design.x() << pair.design.y() << pair.deviation;
    return numbers;
}

static bool take(const Numbers &n, Pose *pose)
{
    if (n.size() == 5)
        *pose = { n[0], n[1], n[2], n[3], n[4] };
    return n.size() == 5;
}

static bool take(const Numbers &n, QVector<PickedPair> *pairs)
{
    for (int i = 0; i + 2 < n.size(); i += 3)
        pairs->append({ QPointF(n[i], n[i + 1]), n[i + 2] });
    return n.size() % 3 == 0 && n.size() <= 9;
}

template <typename Value> static QMap<QString, Value> readMap(const char *key)
{
    QMap<QString, Value> result;
    const QVariantMap stored = QSettings().value(key).toMap();
    for (auto entry = stored.begin(); entry != stored.end(); ++entry) {
        Numbers numbers;
        for (const QVariant &number : entry.value().toList())
            numbers << number.toDouble();
        Value value;
        if (take(numbers, &value))
            result[entry.key()] = value;
    }
    return result;
}

template <typename Value> static void writeMap(const char *key, const QMap<QString, Value> &values)
{
    QVariantMap stored;
    for (auto entry = values.begin(); entry != values.end(); ++entry) {
        QVariantList list;
        for (double number : numbersOf(entry.value()))
            list << number;
        stored[entry.key()] = list;
    }
    QSettings().setValue(key, stored);
}

static void readPositive(const char *key, double *value)
{
    const double stored = QSettings().value(key).toDouble();
    if (stored > 0 && qIsFinite(stored))
        *value = stored;
}

DesignMemory DesignMemory::read()
{
    const QStringList cleared = QSettings().value(clearedKey).toStringList();
    WaferAssumption assumption;
    readPositive(turnKey, &assumption.turnDegrees);
    readPositive(scaleKey, &assumption.scalePercent);
    return { readMap<Pose>(posesKey), readMap<QVector<PickedPair>>(pairsKey),
             QSet<QString>(cleared.begin(), cleared.end()), assumption };
}

void DesignMemory::write() const
{
    writeMap(posesKey, poses);
    writeMap(pairsKey, pairs);
    writeCleared();
}

void DesignMemory::writeCleared() const
{
    QSettings().setValue(clearedKey, QStringList(cleared.values()));
}

} // namespace hosting
