// A unit's dashboard page: its runs in the window, each step's tries with
// their measurements, and the echo plot of every stored sample block.
#pragma once

#include "DashboardRecords.h"

#include <QString>

class CDashboardUnitPage
{
public:
    QString Render(const DashboardUnit_T& unit) const;
    // A file name no serial can turn into a path, distinct for distinct
    // serials: a readable part of it and a hash of all its bytes.
    static QString PageName(const QByteArray& serial);
    // The serial as a line of text, as the history shows it.
    static QString Printable(const QByteArray& serial);
    // passed met, failed unmet, anything else missing: the report's cell colours.
    static QString ResultClass(const QString& result);

private:
    QString RunTable(const DashboardUnit_T& unit) const;
    QString RunSection(const DashboardRun_T& run, size_t number) const;
};
