#ifndef BENCH_MEDIAN_H
#define BENCH_MEDIAN_H

#include <QVector>

#include <algorithm>

/// The value below which `share` of the values lie; 0 if there are none.
inline double quantile(QVector<double> values, double share)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    return values.at(qMin(values.size() - 1, int(share * values.size())));
}

inline double median(const QVector<double> &values)
{
    return quantile(values, 0.5);
}

#endif
