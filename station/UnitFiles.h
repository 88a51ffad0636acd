// The plan's own files on one unit, beside the program for the unit's steps.
// A virtual unit shows them read-only (vunit --beside); an ssh unit gets
// copies that go again after its last step. A file the unit already had is
// never replaced nor removed: its steps do not run instead.
#pragma once

#include "Plan.h"
#include "StepRunner.h"
#include "UnitTarget.h"

#include <QString>
#include <QStringList>

#include <vector>

class CUnitFiles
{
public:
    CUnitFiles(const CUnitTarget& unit, const std::vector<PlanFile_T>& files, const CStepRunner& runner);

    // Before the first step; false with why the unit's steps must not run.
    bool Put(QString& error);
    // After the last step, whatever became of the steps (a stop included);
    // false with what may be left on the unit.
    bool Remove(QString& error);

    // How long one copy or removal may take.
    static const double c_Seconds;

private:
    const CUnitTarget& m_Unit;
    const std::vector<PlanFile_T>& m_Files;
    const CStepRunner& m_Runner;
    QStringList m_Made;  // names this station created on the unit
};
