// The SQL behind capability: per measurement n, mean, s, sw, the latest
// limits and the failures, for the command and for the
// measurement_capability view alike.
#pragma once

#include "AnalyticsRecords.h"

#include <QString>
#include <QVariantList>

class CCapabilityQuery
{
public:
    // A SELECT of plan_name, step, expectation, from_index, n, mean, s, sw,
    // lsl, usl, failures over the points FILTER (and PASSEDONLY) asks for;
    // its bound values are appended to VALUES in the order of their '?'.
    static QString Measurements(const AnalyticsFilter_T& filter, bool passedOnly, bool postgresql,
                                QVariantList& values);
    // Cp, Cpk, Pp and Ppk as columns of a row that has mean, s, sw, lsl and usl.
    static QString Indexes();

private:
    static QString Points(const AnalyticsFilter_T& filter, bool passedOnly, const QString& prefix,
                          QVariantList& values);
};
