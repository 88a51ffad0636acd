// sonarstation: runs a test plan on many sonar units, real or virtual, and
// turns every report into structured results, JUnit XML and an HTML report.
#include "AnalyticsCommands.h"
#include "CommandLine.h"
#include "Console.h"
#include "DbBench.h"
#include "Plan.h"
#include "ReportParser.h"
#include "ResultCommands.h"
#include "ResultFiles.h"
#include "ResultsStore.h"
#include "RunRecorder.h"
#include "Station.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace
{
// Not in the usage: times the report parser on a saved report.
int ParseBench(const QStringList& arguments)
{
    QFile file(arguments.value(0));
    if (!file.open(QIODevice::ReadOnly))
    {
        fprintf(stderr, "sonarstation: usage: sonarstation parse-bench REPORT [REPEATS]\n");
        return 2;
    }
    const QByteArray text = file.readAll();
    const int repeats = qMax(1, arguments.value(1, "1000").toInt());
    const CReportParser parser;
    size_t samples = 0;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < repeats; ++i)
        for (const SampleBlock_T& block : parser.Parse(text).blocks)
            samples += block.samples.size();
    const double micro = static_cast<double>(timer.nsecsElapsed()) / 1000.0 / repeats;
    printf("parsed %d bytes, %zu samples: %.1f us a report\n", text.size(), samples / repeats, micro);
    return 0;
}

// Ctrl-C and the like stop the units' commands, so nothing of theirs runs on.
void CatchStopSignals()
{
    struct sigaction action = {};
    action.sa_handler = CStepRunner::RequestStop;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

void Say(const QString& line)
{
    fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
}

int Refuse(const QString& message)
{
    Say("sonarstation: " + message);
    return 2;
}

// sonarstation sync [--db URL]
int Sync(const QStringList& arguments)
{
    CDbTarget target;
    QString error;
    bool ok = false;
    if (arguments.isEmpty())
        ok = CDbTarget::Default(target, error);
    else if (arguments.size() == 2 && arguments[0] == "--db")
        ok = CDbTarget::Parse(arguments[1], target, error);
    else
        error = "usage: sonarstation sync [--db URL]";
    if (!ok)
        return Refuse(error);
    int moved = 0;
    if (!CResultsStore::Sync(target, moved, error))
    {
        Say("sonarstation: " + error);
        return 1;
    }
    Say(QString("%1 spooled run(s) moved to %2").arg(moved).arg(target.Display()));
    return 0;
}

QString Sha256(const QString& path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (file.open(QIODevice::ReadOnly))
        hash.addData(&file);
    return QString::fromLatin1(hash.result().toHex());
}

int Run(const StationOptions_T& options)
{
    CPlan plan;
    QString error;
    if (!plan.Load(options.plan, error))
    {
        Say(error);
        return 2;
    }
    // Opening writes, so a database that cannot take results stops the station before any unit runs.
    CResultsStore store(stderr);
    SessionRecord_T session;
    session.host = QSysInfo::machineHostName();
    session.stationVersion = SONARSTATION_VERSION;
    session.plan = options.plan;
    session.planSha256 = Sha256(options.plan);
    session.jobs = options.jobs;
    session.started = QDateTime::currentDateTimeUtc();
    if (!store.Open(options.db, error) || !store.BeginSession(session, error))
        return Refuse(error);
    CRunRecorder recorder(store, options.operatorName, options.plan, session.planSha256);

    CatchStopSignals();
    CStation station(plan, options.units, options.jobs, stderr, &recorder);
    StationResults_T results = station.Run(options.plan);
    // The result files and the database tell the same start and station, so an export matches the run.
    results.started = session.started;
    results.host = session.host;
    for (const QString& line : CConsole::Summary(results, plan.Steps().size(), options.jobs))
        Say(line);
    const bool stored = store.FinishSession(results.seconds, results.met, error);
    if (!stored)
        Say("sonarstation: " + error);
    // What was gathered before a stop is written all the same.
    if (!CResultFiles(options.json, options.junit, options.report).Write(results, stdout, stderr) || !stored ||
        recorder.Failed())
        return 1;
    if (const int signal = CStepRunner::StopRequested())
    {
        Say(QString("sonarstation: stopped by signal %1").arg(signal));
        return 128 + signal;
    }
    return results.met ? 0 : 1;
}
}

int main(int argc, char** argv)
{
    // A reader that went away ("sonarstation run ... | head") costs console
    // lines, never the run or its result files.
    signal(SIGPIPE, SIG_IGN);
    QStringList arguments;
    QList<QByteArray> bytes;  // a serial keeps bytes that are not text
    for (int i = 1; i < argc; ++i)
    {
        arguments << QString::fromLocal8Bit(argv[i]);
        bytes << QByteArray(argv[i]);
    }
    const QString command = arguments.value(0);
    if (command == "parse-bench")
        return ParseBench(arguments.mid(1));
    if (command == "sync")
        return Sync(arguments.mid(1));
    if (command == "db-bench")
        return CDbBench::Run(arguments.mid(1));
    if (command == "history" || command == "export")
    {
        // As given: a serial need not be valid in any encoding.
        const QByteArrayList raw = QByteArrayList(argv + 2, argv + argc);
        const CResultCommands commands(stdout, stderr);
        return command == "history" ? commands.History(raw) : commands.Export(raw);
    }
    if (command == "yield" || command == "capability" || command == "control" || command == "dashboard")
    {
        const CAnalyticsCommands analytics(stdout, stderr);
        const QStringList rest = arguments.mid(1);
        return command == "yield" ? analytics.Yield(rest)
               : command == "capability" ? analytics.Capability(rest)
               : command == "control"    ? analytics.Control(rest)
                                         : analytics.Dashboard(rest);
    }
    StationOptions_T options;
    QString error;
    if (command == "run" && !CCommandLine().Parse(arguments.mid(1), options, error, bytes.mid(1)))
        return Refuse(error);
    if (command == "help" || command == "--help" || command == "-h" || options.help)
    {
        printf("%s", CCommandLine::Usage());
        return 0;
    }
    if (command != "run")
        return Refuse(QString(command.isEmpty() ? "no command given" : "unknown command '" + command + "'") +
                      "; the commands are run, history, export, sync, yield, capability, control, dashboard and help");
    return Run(options);
}
