#include "layout/hierarchy.h"

namespace layout {
namespace {

const double maxPolygons = 4e6;
const double maxPoints = 4e7;
const double maxPlacements = 4e6;
const int maxDepth = 200;

QString tooDeep()
{
    return QStringLiteral("structures are nested more than %1 deep").arg(maxDepth);
}

} // namespace

Hierarchy::Node &Hierarchy::node(int structure)
{
    if (structure >= m_nodes.size())
        m_nodes.resize(structure + 1);
    return m_nodes[structure];
}

bool Hierarchy::define(int structure)
{
    Node &defined = node(structure);
    const bool first = !defined.defined;
    defined.defined = true;
    return first;
}

void Hierarchy::addShape(int structure, int points)
{
    node(structure).polygons += 1;
    node(structure).points += points;
}

void Hierarchy::addReference(int structure, int target, qint64 copies)
{
    node(target).referenced = true;
    node(structure).references.append({ target, copies });
}

QString Hierarchy::finish(int structure, int depth, const QVector<QByteArray> &names)
{
    Node &current = m_nodes[structure];
    if (current.mark == Node::Finished)
        return QString();
    const QString name = QString::fromLatin1(names.at(structure));
    if (!current.defined)
        return QStringLiteral("a reference leads to structure \"%1\", which is not defined")
            .arg(name);
    if (current.mark == Node::Open)
        return QStringLiteral("structure \"%1\" contains itself").arg(name);
    if (depth > maxDepth)
        return tooDeep();
    current.mark = Node::Open;
    for (const Reference &reference : qAsConst(current.references)) {
        const QString problem = finish(reference.target, depth + 1, names);
        if (!problem.isEmpty())
            return problem;
        const Node &target = m_nodes.at(reference.target);
        current.polygons += double(reference.copies) * target.polygons;
        current.points += double(reference.copies) * target.points;
        current.placements += double(reference.copies) * (1 + target.placements);
        current.height = qMax(current.height, target.height + 1);
    }
    current.mark = Node::Finished;
    return current.height > maxDepth ? tooDeep() : QString();
}

QString Hierarchy::check(const QVector<QByteArray> &names)
{
    double polygons = 0, points = 0, placements = 0;
    for (int structure = 0; structure < m_nodes.size(); ++structure) {
        const QString problem = finish(structure, 0, names);
        if (!problem.isEmpty())
            return problem;
        if (m_nodes.at(structure).referenced)
            continue;
        polygons += m_nodes.at(structure).polygons;
        points += m_nodes.at(structure).points;
        placements += m_nodes.at(structure).placements;
    }
    if (polygons > maxPolygons || points > maxPoints || placements > maxPlacements)
        return QStringLiteral("the layout is too large: %1 polygons with %2 points in %3 cells")
            .arg(polygons)
            .arg(points)
            .arg(placements);
    return QString();
}

} // namespace layout
