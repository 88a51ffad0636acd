#include "StationProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>

StationRun_T RunStation(const QStringList& arguments, const QProcessEnvironment& environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(SONARSTATION_BINARY, arguments);
    StationRun_T run;
    if (process.waitForFinished(60000))
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

const QJsonObject ReadJson(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll()).object();
}

QString PlanFile(const QString& name)
{
    return QString(STATION_PLANS) + "/" + name;
}
