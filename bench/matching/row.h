#ifndef BENCH_MATCHING_ROW_H
#define BENCH_MATCHING_ROW_H

#include "matching/find.h"

#include <QVector>

#include <map>

/// One line of the table: what became of the images of a set.
class Row {
public:
    /// `exists`: what the image shows is within what was searched. `ms`: processor time.
    void add(const matching::Match &match, const matching::Pose &truth, bool exists, double ms);
    static void printHead();
    void print(const char *name) const;

private:
    int m_count = 0, m_right = 0, m_accepted = 0, m_wrong = 0, m_within = 0;
    double m_mostWrong = 0; // the greatest confidence in a wrong place
    QVector<double> m_errors, m_ms;
    std::map<matching::Refusal, int> m_refusals;
};

#endif
