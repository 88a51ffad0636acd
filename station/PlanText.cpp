#include "PlanText.h"

#include <QByteArrayList>

namespace
{
// The blanks a plan's words are split at.
bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

// Where each word of LINE starts and ends.
QList<QPair<int, int>> Words(const QByteArray& line)
{
    QList<QPair<int, int>> words;
    int i = 0;
    while (i < line.size())
    {
        while (i < line.size() && IsBlank(line[i]))
            ++i;
        const int start = i;
        while (i < line.size() && !IsBlank(line[i]))
            ++i;
        if (i > start)
            words.append(qMakePair(start, i));
    }
    return words;
}
}

bool CPlanText::SetRange(const QString& step, const QString& key, int from, const QString& range)
{
    QString current;
    for (QByteArray& line : m_Lines)
    {
        const QList<QPair<int, int>> spans = Words(line);
        QByteArrayList words;
        for (const auto& span : spans)
            words << line.mid(span.first, span.second - span.first);
        if (words.isEmpty() || words[0].startsWith('#'))
            continue;
        if (words[0] == "step" && words.size() > 1)
            current = QString::fromUtf8(words[1]);
        // expect KEY RANGE [from INDEX ...]: noise's A is its window's start as well.
        if (words[0] != "expect" || words.size() < 3 || current != step || QString::fromUtf8(words[1]) != key)
            continue;
        const int lineFrom = words.size() >= 5 && words[3] == "from" ? words[4].toInt() : 0;
        if (lineFrom != from)
            continue;
        line.replace(spans[2].first, spans[2].second - spans[2].first, range.toUtf8());
        return true;
    }
    return false;
}

QByteArray CPlanText::Text() const
{
    return m_Lines.join('\n');
}
