// The HTML report while the run lasts: written whole when the run starts, then
// after every finished step the index and that step's page, each file
// swapped in whole. The final report (CHtmlReport::Write) replaces it at the end.
#pragma once

#include "HtmlReport.h"
#include "StationListener.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QString>

#include <utility>
#include <vector>

class CLiveReport : public CStationListener
{
public:
    // DIR as --report names it; PLAN, STARTED and HOST as the result files will tell them.
    CLiveReport(const QString& dir, const QString& plan, const QDateTime& started, const QString& host);

    void Started(const StationResults_T& results, const QStringList& planSteps) override;
    void UnitStarted(size_t slot, const QByteArray& serial, const QString& step) override;
    void StepFinished(size_t slot, const StepResult_T& step, const QString& next) override;
    void UnitFinished(size_t slot, const UnitResult_T& unit) override;
    void Finished(const StationResults_T&) override {}
    void Say(const QString&) override {}

    // Why the report stopped following the run; empty while it follows.
    const QString& Error() const { return m_Error; }

private:
    // The index and the pages of SLOT's steps not written yet.
    void Write(size_t slot);

    QString m_Dir;
    StationResults_T m_Results;
    std::vector<UnitProgress_T> m_Progress;
    std::vector<size_t> m_Written;  // per unit, its step pages written so far
    QStringList m_PlanSteps;
    QElapsedTimer m_Timer;
    QString m_Error;
};
