// Runs the built sonarstation as the tests' child process.
#pragma once

#include "DbTarget.h"

#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

struct StationRun_T
{
    int exitCode = -1;
    QString errors;     // stderr: progress lines and messages
    QByteArray output;  // stdout
};

// The station's default database and spool lie in a folder of the test
// process's own unless ENVIRONMENT sets XDG_DATA_HOME or SONARSTATION_DB
// to something else than the system's environment does: no test writes into
// the home folder. A station still running after WAIT_SECONDS is killed.
StationRun_T RunStation(const QStringList& arguments,
                        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
                        int waitSeconds = 60);
QProcessEnvironment StationEnvironment(const QProcessEnvironment& environment);
const QJsonObject ReadJson(const QString& path);
QString PlanFile(const QString& name);  // station/plans/NAME
// The console's lines with every time shown as T, so that whole lines compare.
QStringList TimelessLines(const QString& text);
// Checked with xmllint against the schema CI servers validate JUnit reports with.
void ExpectValidJunit(const QString& path);

// Files and results databases as the tests read and write them.
namespace TestDb
{
bool WriteFile(const QString& path, const QByteArray& text, bool executable = false);
QByteArray Read(const QString& path);
CDbTarget Target(const QString& text);
// Every row SQL gives, its columns joined with '|'.
QStringList RowList(const QString& db, const QString& sql);
// The rows one a line, so that a failure shows them.
std::string Rows(const QString& db, const QString& sql);
std::string Lines(const QStringList& lines);
}
