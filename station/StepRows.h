// A step's result as rows of the results database, both ways: the step, its
// measurements and its sample blocks. The one place that knows both sides.
#pragma once

#include "ResultsRecords.h"
#include "StationResults.h"

#include <vector>

class CResultsDb;

class CStepRows
{
public:
    // Inside a transaction; a row already there is left as it is.
    static bool Insert(CResultsDb& db, const QString& runId, int index, int tryNumber, const StepResult_T& step,
                       QString& error);
    // Every stored step of a run in order, its report parsed again from the stored text.
    // KEYS, when given, gets each step's index and try number.
    static bool Load(CResultsDb& db, const QString& runId, std::vector<StepResult_T>& steps, QString& error,
                     std::vector<QPair<int, int>>* keys = nullptr);
    // The same, as a unit's history shows it.
    static bool LoadRecords(CResultsDb& db, const QString& runId, std::vector<StepRecord_T>& steps, QString& error);

    // Samples as stored: 32-bit little-endian, compressed.
    static QByteArray PackSamples(const std::vector<int>& samples);
    static std::vector<int> UnpackSamples(const QByteArray& packed);

private:
    static bool InsertMeasurements(CResultsDb& db, const QVariantList& key, const StepResult_T& step, QString& error);
    static bool InsertBlocks(CResultsDb& db, const QVariantList& key, const StepResult_T& step, QString& error);
    static bool LoadMeasurements(CResultsDb& db, const QString& runId,
                                 std::vector<std::pair<QPair<int, int>, MeasurementRecord_T>>& measurements,
                                 QString& error);
};
