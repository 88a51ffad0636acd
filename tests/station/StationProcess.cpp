#include "StationProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <iostream>

#include <gtest/gtest.h>

QProcessEnvironment StationEnvironment(const QProcessEnvironment& environment)
{
    static QTemporaryDir data;
    const QProcessEnvironment system = QProcessEnvironment::systemEnvironment();
    QProcessEnvironment own = environment;
    if (own.value("XDG_DATA_HOME") == system.value("XDG_DATA_HOME"))
        own.insert("XDG_DATA_HOME", data.path());
    if (own.contains("SONARSTATION_DB") && own.value("SONARSTATION_DB") == system.value("SONARSTATION_DB"))
        own.remove("SONARSTATION_DB");
    return own;
}

StationRun_T RunStation(const QStringList& arguments, const QProcessEnvironment& environment, int waitSeconds)
{
    QProcess process;
    process.setProcessEnvironment(StationEnvironment(environment));
    process.start(SONARSTATION_BINARY, arguments);
    StationRun_T run;
    if (process.waitForFinished(waitSeconds * 1000))
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.errors = QString::fromUtf8(process.readAllStandardError());
    run.output = process.readAllStandardOutput();
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

QStringList TimelessLines(const QString& text)
{
    QString timeless = text;
    timeless.replace(QRegularExpression("\\([0-9]+\\.[0-9]{2} s"), "(T s");
    return timeless.split('\n', Qt::SkipEmptyParts);
}

void ExpectValidJunit(const QString& path)
{
    if (QStandardPaths::findExecutable("xmllint").isEmpty() || !QFile::exists(JUNIT_SCHEMA))
    {
        std::cout << "xmllint (Debian libxml2-utils) or " << JUNIT_SCHEMA << " missing: JUnit schema NOT checked\n";
        return;
    }
    QProcess xmllint;
    xmllint.setProcessChannelMode(QProcess::MergedChannels);
    xmllint.start("xmllint", {"--noout", "--schema", JUNIT_SCHEMA, path});
    xmllint.waitForFinished();
    EXPECT_EQ(xmllint.exitCode(), 0) << xmllint.readAll().toStdString();
}
