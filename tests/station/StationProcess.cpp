#include "StationProcess.h"

#include "ResultsDb.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QSqlRecord>
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

namespace TestDb
{
bool WriteFile(const QString& path, const QByteArray& text, bool executable)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() &&
           (!executable || file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

QByteArray Read(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

CDbTarget Target(const QString& text)
{
    CDbTarget target;
    QString error;
    EXPECT_TRUE(CDbTarget::Parse(text, target, error)) << error.toStdString();
    return target;
}

QStringList RowList(const QString& db, const QString& sql)
{
    CResultsDb results;
    QString error;
    if (!results.Open(Target(db), error))
        return {"cannot open: " + error};
    QSqlQuery query(results.Connection());
    if (!results.Exec(query, sql, {}, error))
        return {"cannot query: " + error};
    QStringList rows;
    while (query.next())
    {
        QStringList columns;
        for (int i = 0; i < query.record().count(); ++i)
            columns << (query.isNull(i) ? QString("NULL") : query.value(i).toString());
        rows << columns.join('|');
    }
    return rows;
}

std::string Rows(const QString& db, const QString& sql)
{
    return RowList(db, sql).join('\n').toStdString();
}

std::string Lines(const QStringList& lines)
{
    return lines.join('\n').toStdString();
}
}
