// A plan's text with the ranges of its expectations rewritten: every other
// byte (comments, blank lines, spacing, line ends) stays as it was.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class CPlanText
{
public:
    explicit CPlanText(const QByteArray& text) : m_Lines(text.split('\n')) {}

    // Puts RANGE in place of the range of STEP's expectation KEY whose window
    // starts at FROM. False when the plan has no such expectation.
    bool SetRange(const QString& step, const QString& key, int from, const QString& range);
    QByteArray Text() const;

private:
    QList<QByteArray> m_Lines;
};
