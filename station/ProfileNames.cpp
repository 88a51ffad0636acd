#include "ProfileNames.h"

#include "StepRunner.h"

#include <algorithm>
#include <vector>

bool CProfileNames::Load(const QString& vunit)
{
    m_Names.clear();
    const RunResult_T run = CStepRunner(1).Run({vunit, "--list"}, 20);
    if (run.exitStatus != 0)
        return false;
    for (const QByteArray& line : run.output.split('\n'))
    {
        const QString name = QString::fromLocal8Bit(line).section(' ', 0, 0, QString::SectionSkipEmpty);
        if (!name.isEmpty())
            m_Names << name;
    }
    return !m_Names.isEmpty();
}

int CProfileNames::Distance(const QString& a, const QString& b)
{
    const int n = a.size();
    const int m = b.size();
    std::vector<std::vector<int>> d(static_cast<size_t>(n + 1), std::vector<int>(static_cast<size_t>(m + 1)));
    auto at = [&d](int i, int j) -> int& { return d[static_cast<size_t>(i)][static_cast<size_t>(j)]; };
    for (int i = 0; i <= n; ++i)
        at(i, 0) = i;
    for (int j = 0; j <= m; ++j)
        at(0, j) = j;
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= m; ++j)
        {
            const int cost = a[i - 1] == b[j - 1] ? 0 : 1;
            at(i, j) = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, at(i - 1, j - 1) + cost});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
        }
    return at(n, m);
}

QStringList CProfileNames::Closest(const QString& name) const
{
    // A short name has few letters to spare: one slip in up to five letters, two beyond.
    const int allowed = name.size() > 5 ? 2 : 1;
    int best = allowed;
    QStringList closest;
    for (const QString& profile : m_Names)
    {
        const int distance = Distance(name.toLower(), profile.toLower());
        if (distance >= name.size() || distance > best)
            continue;
        if (distance < best)
            closest.clear();
        best = distance;
        closest << profile;
    }
    return closest;
}
