// The results of a plan run as one JSON document.
#pragma once

#include "StationResults.h"

#include <QByteArray>
#include <QJsonObject>

class CJsonWriter
{
public:
    QByteArray Document(const StationResults_T& results) const;
    // False with a message when the file cannot be written.
    bool Write(const QString& path, const StationResults_T& results, QString& error) const;

private:
    QJsonObject Step(const StepResult_T& step) const;
};
