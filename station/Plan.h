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
    int retries = 0;      // more tries after an unmet one
    bool always = false;  // runs even after a stop-on-fail stop
};

// Another plan whose latest run on a unit must have passed before this one runs on it.
struct PlanRequirement_T
{
    QString planName;  // as the results database names runs' plans: the file name
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
    const std::vector<PlanRequirement_T>& Requirements() const { return m_Requirements; }
    // After a step left unmet, the unit's remaining steps are skipped, but for the "always" ones.
    bool StopOnFail() const { return m_StopOnFailLine > 0; }
    const QString& FileName() const { return m_FileName; }

    static const int c_MaxRetries = 100;

    // The program on the unit: no sent file may take its name.
    static const char* const c_Program;

private:
    bool ParseLine(const QStringList& words, QString& error);
    bool ParseStep(const QStringList& words, QString& error);
    bool ParseExpect(const QStringList& words, QString& error);
    bool ParseTimeout(const QStringList& words, QString& error);
    bool ParseSend(const QStringList& words, QString& error);
    bool ParseRetry(const QStringList& words, QString& error);
    bool ParseAlways(const QStringList& words, QString& error);
    bool ParseStopOnFail(const QStringList& words, QString& error);
    bool ParseRequires(const QStringList& words, QString& error);

    std::vector<PlanStep_T> m_Steps;
    std::vector<bool> m_HasTimeout;
    std::vector<bool> m_HasRetry;
    std::vector<PlanFile_T> m_Files;
    std::vector<PlanRequirement_T> m_Requirements;
    int m_StopOnFailLine = 0;
    QString m_FileName;
    QString m_Folder;  // the plan file's
    int m_Line = 0;
};
