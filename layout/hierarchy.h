#ifndef LAYOUT_HIERARCHY_H
#define LAYOUT_HIERARCHY_H

#include <QByteArray>
#include <QString>
#include <QVector>

namespace layout {

/// Which structure refers to which, and how much geometry each one stands for once it is flattened.
class Hierarchy {
public:
    /// Returns false when `structure` is already defined.
    bool define(int structure);
    void addShape(int structure, int points);
    void addReference(int structure, int target, qint64 copies);

    /// Empty when every reference leads to a defined structure, none leads back to itself and the
    /// flattened whole stays within bounds; otherwise what is wrong. `names` is for that text.
    QString check(const QVector<QByteArray> &names);

private:
    struct Reference {
        int target;
        qint64 copies;
    };
    struct Node {
        enum { Unseen, Open, Finished } mark = Unseen;
        bool defined = false;
        bool referenced = false;
        double polygons = 0; // real: a hostile hierarchy multiplies beyond any integer
        double points = 0;
        double placements = 0;
        int height = 0; // of the tree below it
        QVector<Reference> references;
    };

    Node &node(int structure);
    QString finish(int structure, int depth, const QVector<QByteArray> &names);

    QVector<Node> m_nodes;
};

} // namespace layout

#endif
