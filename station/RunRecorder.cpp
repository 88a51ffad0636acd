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
