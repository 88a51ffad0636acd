// Runs the built sonarstation as the tests' child process.
#pragma once

#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

struct StationRun_T
{
    int exitCode = -1;
    QString errors;  // stderr: progress lines and messages
};

StationRun_T RunStation(const QStringList& arguments,
                        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
const QJsonObject ReadJson(const QString& path);
QString PlanFile(const QString& name);  // station/plans/NAME
