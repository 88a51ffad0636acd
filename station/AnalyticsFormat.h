// The analytics as the commands print them: a readable table or JSON. In
// JSON, shares are fractions from 0 to 1 and an undefined figure is null;
// figures carry ten significant digits, so that both engines print the same.
#pragma once

#include "AnalyticsRecords.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

class CAnalyticsFormat
{
public:
    static QByteArray YieldJson(const YieldReport_T& report, const QString& by);
    static QString YieldTable(const YieldReport_T& report, const QString& by);
    static QByteArray CapabilityJson(const std::vector<CapabilityRow_T>& rows);
    static QString CapabilityTable(const std::vector<CapabilityRow_T>& rows);
    static QByteArray ControlJson(const ControlChart_T& chart);
    static QString ControlTable(const ControlChart_T& chart);

    // "peak from 32", or the key alone from the first sample.
    static QString Label(const QString& key, int from);
    // A figure in JSON: ten significant digits, null when undefined.
    static QJsonValue Figure(const std::optional<double>& value);
    // Columns as wide as their widest cell, two spaces apart, the last one not padded.
    static QString Columns(const std::vector<QStringList>& rows);
};
