// The commands that answer production questions from the results database:
// yield, capability and control.
#pragma once

#include "AnalyticsRecords.h"

#include <QString>
#include <QStringList>

#include <cstdio>
#include <functional>

class CResultsDb;

class CAnalyticsCommands
{
public:
    CAnalyticsCommands(FILE* out, FILE* messages) : m_Out(out), m_Messages(messages) {}

    // ARGUMENTS are those after the command's name. Each returns the exit status.
    int Yield(const QStringList& arguments) const;
    int Capability(const QStringList& arguments) const;
    int Control(const QStringList& arguments) const;
    int Dashboard(const QStringList& arguments) const;

    static const char* Usage();
    // An ISO 8601 date (its midnight UTC) or time (UTC unless it names its offset).
    static bool ParseTime(const QString& text, QDateTime& time);

private:
    struct Options_T
    {
        QString db;
        AnalyticsFilter_T filter;
        bool json = false;
        bool help = false;
        QString by;               // yield
        bool passedOnly = false;  // capability
        QStringList subject;      // control: STEP KEY
        int from = 0;             // control: the key's first sample
        int firstPoint = 1;
        int baseline = 20;
        QString out;  // dashboard: the folder
    };

    static bool Parse(const QString& command, const QStringList& arguments, Options_T& options, QString& error);
    bool Print(const QByteArray& bytes) const;
    int Refuse(const QString& message) const;
    int Fail(const QString& message) const;
    // Reads the options, opens the database and hands both to BODY.
    int Run(const QString& command, const QStringList& arguments,
            const std::function<int(const Options_T&, CResultsDb&)>& body) const;

    FILE* m_Out;
    FILE* m_Messages;
};
