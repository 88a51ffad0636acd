// The commands that read the results database back: a unit's history, and a
// stored run's result files written again.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>
#include <QStringList>

#include <cstdio>

class CResultsDb;
struct StationResults_T;

class CResultCommands
{
public:
    CResultCommands(FILE* out, FILE* messages) : m_Out(out), m_Messages(messages) {}

    // ARGUMENTS are those after the command's name, as bytes: a serial need
    // not be UTF-8. Each returns the exit status.
    int History(const QByteArrayList& arguments) const;
    int Export(const QByteArrayList& arguments) const;

    static const char* Usage();
    // Opens DB (empty: the default database) for reading; never makes one.
    static bool Open(const QString& db, CResultsDb& results, QString& error);

private:
    struct Options_T
    {
        QByteArray subject;  // the serial or the run id
        QString db;          // empty: the default database
        bool json = false;   // history --json
        QString jsonFile;    // export --json; "-": standard output
        QString junit;
        QString report;
        bool help = false;
    };

    static bool Parse(const QByteArrayList& arguments, bool exporting, Options_T& options, QString& error);
    bool Print(const QByteArray& bytes, QString& error) const;
    void Say(const QString& line) const;
    int Refuse(const QString& message) const;

    FILE* m_Out;
    FILE* m_Messages;
};
