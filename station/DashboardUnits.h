// Reads the units a dashboard shows, one at a time: every serial with a run in
// the window, its runs there, their steps, measurements and sample blocks.
// Serials are read in batches by their order, so neither the list of units
// nor their samples are ever in memory whole, and a handful of queries serve
// a whole batch on either engine.
#pragma once

#include "AnalyticsRecords.h"
#include "DashboardRecords.h"

#include <QVariantList>

#include <functional>

class CResultsDb;
class QSqlQuery;

class CDashboardUnits
{
public:
    explicit CDashboardUnits(CResultsDb& db, int batch = 200) : m_Db(db), m_Batch(batch) {}

    // Hands every unit to PAGE in serial order; stops at the first false from
    // PAGE, whose message it returns.
    using Page_T = std::function<bool(const DashboardUnit_T& unit, QString& error)>;
    bool ForEach(const AnalyticsFilter_T& filter, const Page_T& page, QString& error) const;
    // The start of the newest run with a serial in the window; invalid when none.
    bool Newest(const AnalyticsFilter_T& filter, QDateTime& started, QString& error) const;

private:
    struct Key_T
    {
        QString text;
        QByteArray bytes;
    };
    bool NextKeys(const AnalyticsFilter_T& filter, const Key_T* after, std::vector<Key_T>& keys, QString& error) const;
    bool ReadBatch(const AnalyticsFilter_T& filter, const Key_T& first, const Key_T& last, const Page_T& page,
                   QString& error) const;
    bool ReadRuns(const QString& where, const QVariantList& values, std::vector<DashboardUnit_T>& units,
                  QString& error) const;
    bool ReadSteps(const QString& where, const QVariantList& values, std::vector<DashboardUnit_T>& units,
                   QString& error) const;
    static QString Conditions(const AnalyticsFilter_T& filter, QVariantList& values);
    static QString Between(const Key_T& first, const Key_T& last, QVariantList& values);

    CResultsDb& m_Db;
    int m_Batch;
};
