#include "bench/matching/row.h"

#include "bench/median.h"

#include <cstdio>

using matching::Match;
using matching::Pose;
using matching::Refusal;

static const double wrongPixels = 3; // farther off than that is a wrong place

void Row::add(const Match &match, const Pose &truth, bool exists, double ms)
{
    const double error = cv::norm(match.pose.centre - truth.centre) / truth.pixelSize();
    const bool right = exists && error <= wrongPixels;
    ++m_count;
    m_right += right;
    m_accepted += match.accepted();
    m_wrong += match.accepted() && !right;
    ++m_refusals[match.refusal];
    m_ms.append(ms);
    if (!right)
        m_mostWrong = std::max(m_mostWrong, match.confidence);
    if (right && match.accepted()) {
        m_errors.append(error);
        m_within += error <= match.errorPixels;
    }
}

void Row::printHead()
{
    std::printf(
        "| set | images | right | accepted | accepted and wrong | most confidence in a wrong "
        "place | error, median / 99 %% (px) | within the given 95 %% | processor ms, median / 99 "
        "%% | refused |\n| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
}

void Row::print(const char *name) const
{
    std::printf("| %s | %d | %.1f %% | %.1f %% | %d | %.1f | %.3f / %.2f | %.1f %% | %.0f / %.0f |",
                name, m_count, 100. * m_right / m_count, 100. * m_accepted / m_count, m_wrong,
                m_mostWrong, median(m_errors), quantile(m_errors, 0.99),
                m_errors.isEmpty() ? 0. : 100. * m_within / m_errors.size(), median(m_ms),
                quantile(m_ms, 0.99));
    for (const auto &refusal : m_refusals) {
        if (refusal.first != Refusal::None)
            std::printf(" %s %d", matching::word(refusal.first), refusal.second);
    }
    std::printf(" |\n");
    std::fflush(stdout);
}
