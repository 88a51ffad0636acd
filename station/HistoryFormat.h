// A unit's history as JSON and as a table for a terminal.
#pragma once

#include "ResultsRecords.h"

#include <QByteArray>
#include <QString>

class CHistoryFormat
{
public:
    static QByteArray Json(const UnitHistory_T& history);
    static QString Table(const UnitHistory_T& history);
    // Control characters as \xNN, so that a unit's text cannot break a line.
    static QString Printable(const QString& text);
};
