#include "RunRecorder.h"

#include <QFileInfo>

CRunRecorder::CRunRecorder(CResultsStore& store, const QString& operatorName, const QString& planName,
                           const QString& planSha256)
    : m_Store(store), m_Operator(operatorName), m_PlanName(QFileInfo(planName).fileName()), m_PlanSha256(planSha256)
{
}

bool CRunRecorder::Count(bool written)
{
    if (!written)
        m_Failed = true;
    return written;
}

bool CRunRecorder::Begin(const CUnitTarget& unit, int slot, const UnitIdentity_T& identity, RunRecord_T& run,
                         QString& error)
{
    run = RunRecord_T();
    run.slot = slot;
    run.unit = unit.Name();
    run.isVirtual = unit.IsVirtual();
    if (unit.HasOperatorSerial())
    {
        run.serial = unit.OperatorSerial();
        run.serialSource = "operator";
    }
    else if (identity.hasSerial)
    {
        run.serial = identity.serial;
        run.serialSource = "unit";
    }
    else
        run.serialSource = "missing";
    run.product = identity.product;
    run.applicationVersion = identity.applicationVersion;
    run.platformVersion = identity.platformVersion;
    run.productIdentification = identity.productIdentification;
    run.operatorName = m_Operator;
    run.planName = m_PlanName;
    run.planSha256 = m_PlanSha256;
    const bool written = Count(m_Store.BeginRun(run, error));
    if (!run.attempt.isValid())
        run.attempt = 1;
    return written;
}

bool CRunRecorder::Step(const RunRecord_T& run, int index, const StepResult_T& step, QString& error)
{
    return Count(m_Store.AddStep(run.id, index, step, error));
}

bool CRunRecorder::Finish(const RunRecord_T& run, const QString& result, const UnitResult_T& unit, QString& error)
{
    return Count(m_Store.FinishRun(run.id, result, unit, error));
}

QString CRunRecorder::Unmet(const RunRecord_T& run, const std::vector<PlanRequirement_T>& requirements)
{
    for (const PlanRequirement_T& requirement : requirements)
    {
        const QString head = QString("not run: requires %1").arg(requirement.planName);
        if (run.serialSource == "missing")
            return head + ", and the unit has no serial number to look it up by";
        RunRecord_T latest;
        bool found = false;
        QString error;
        if (!m_Store.LatestRunOfPlan(run.serial, requirement.planName, latest, found, error))
            return QString("%1, which cannot be looked up: %2").arg(head, error);
        if (!found)
            return head + ", never run on this unit";
        if (latest.result != "passed")
        {
            const QDateTime when = latest.ended.isValid() ? latest.ended : latest.started;
            return QString("%1, whose latest run on this unit %2 on %3 (run %4)")
                .arg(head, latest.result == "failed" ? "failed" : "was aborted",
                     when.toUTC().toString("yyyy-MM-dd HH:mm:ss 'UTC'"), latest.id);
        }
    }
    return QString();
}
