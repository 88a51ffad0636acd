// Hears how a run goes while it lasts: the live report and the console's
// progress. The station calls one listener method at a time, from any thread.
#pragma once

#include "StationResults.h"

#include <QStringList>

#include <cstddef>

class CStationListener
{
public:
    virtual ~CStationListener() = default;

    // Before any unit starts: every unit named, none with a step yet; the plan's steps by name.
    virtual void Started(const StationResults_T& results, const QStringList& planSteps) = 0;
    // The unit in SLOT was reached and runs STEP next (the plan's first).
    virtual void UnitStarted(size_t slot, const QByteArray& serial, const QString& step) = 0;
    // NEXT is the step the unit runs now; empty after its last.
    virtual void StepFinished(size_t slot, const StepResult_T& step, const QString& next) = 0;
    // The unit's whole result, steps that never ran included.
    virtual void UnitFinished(size_t slot, const UnitResult_T& unit) = 0;
    virtual void Finished(const StationResults_T& results) = 0;
    // A line for the operator that is no step's.
    virtual void Say(const QString& line) = 0;
};
