// The commands that answer production questions from the results database:
// yield, capability, control and dashboard, and the options they share with limits.
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

    // What every analytics command takes: --db, --plan, --since, --until, --virtual, --json.
    struct CommonOptions_T
    {
        QString db;
        AnalyticsFilter_T filter;
        bool json = false;
        bool help = false;
    };
    // Reads a command's own word at ARGUMENTS[i], moving i past any values it takes.
    // False to refuse: with MESSAGE set, or empty when the word is not the command's.
    using OwnWord = std::function<bool(const QStringList& arguments, int& i, QString& message)>;
    // Reads the common options and hands every other word to OWN; stops at --help.
    static bool ParseOptions(const QStringList& arguments, CommonOptions_T& options, const OwnWord& own,
                             QString& error);
    // The value after ARGUMENTS[i], i moved onto it; false with a message at the end.
    static bool TakeValue(const QStringList& arguments, int& i, QString& value, QString& error);
    // A refusal as every command words it: MESSAGE and where the usage is.
    static QString Mistake(const QString& message);
    // "--k '0' is not a number above 0", as a refusal.
    static QString NotA(const QString& word, const QString& value, const QString& what);

private:
    struct Options_T : CommonOptions_T
    {
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
