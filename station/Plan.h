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

// A file of the plan's own that every unit gets beside the program before its first step.
struct PlanFile_T
{
    QString path;  // on the station, absolute
    QString name;  // beside the program
    int line = 0;
};

class CPlan
{
public:
    // False with "FILE:LINE: what is wrong" (or "FILE: ...") in error.
    bool Load(const QString& path, QString& error);
    // A sent FILE that is not absolute lies in fileName's folder.
    bool Parse(const QByteArray& text, const QString& fileName, QString& error);

    const std::vector<PlanStep_T>& Steps() const { return m_Steps; }
    const std::vector<PlanFile_T>& Files() const { return m_Files; }

    // The program on the unit: no sent file may take its name.
    static const char* const c_Program;

private:
    bool ParseLine(const QStringList& words, QString& error);
    bool ParseStep(const QStringList& words, QString& error);
    bool ParseExpect(const QStringList& words, QString& error);
    bool ParseTimeout(const QStringList& words, QString& error);
    bool ParseSend(const QStringList& words, QString& error);

    std::vector<PlanStep_T> m_Steps;
    std::vector<bool> m_HasTimeout;
    std::vector<PlanFile_T> m_Files;
    QString m_Folder;  // the plan file's
    int m_Line = 0;
};
