// A test plan: the steps every unit runs, in order, with their expectations.
#pragma once

#include "Expectation.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

struct PlanStep_T
{
    QString name;
    QStringList command;  // the command word and its arguments
    std::vector<CExpectation> expectations;
    double timeoutSeconds = 60;
    int line = 0;
};

class CPlan
{
public:
    // False with "FILE:LINE: what is wrong" (or "FILE: ...") in error.
    bool Load(const QString& path, QString& error);
    bool Parse(const QByteArray& text, const QString& fileName, QString& error);

    const std::vector<PlanStep_T>& Steps() const { return m_Steps; }

private:
    bool ParseLine(const QStringList& words, QString& error);
    bool ParseStep(const QStringList& words, QString& error);
    bool ParseExpect(const QStringList& words, QString& error);
    bool ParseTimeout(const QStringList& words, QString& error);

    std::vector<PlanStep_T> m_Steps;
    std::vector<bool> m_HasTimeout;
    int m_Line = 0;
};
