// sonarstation: runs a test plan on many sonar units, real or virtual, and
// turns every report into structured results, JUnit XML and an HTML report.
#include "AnalyticsCommands.h"
#include "CommandLine.h"
#include "Console.h"
#include "DbBench.h"
#include "LimitsCommand.h"
#include "LiveReport.h"
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

// Not in the usage: times the live report's writes after each step of a plan
// of STEPS steps on UNITS units, every step with the same saved report.
int LiveBench(const QStringList& arguments)
{
    QFile file(arguments.value(0));
    const int steps = arguments.value(1).toInt();
    const int units = arguments.value(2).toInt();
    if (!file.open(QIODevice::ReadOnly) || steps < 1 || units < 1 || arguments.value(3).isEmpty())
    {
        fprintf(stderr, "sonarstation: usage: sonarstation live-bench REPORT STEPS UNITS DIR\n");
        return 2;
    }
    StepResult_T step;
    step.text = file.readAll();
    step.report = CReportParser().Parse(step.text);
    step.verdict = step.report.verdict;
    step.met = true;
    StationResults_T results;
    results.units.resize(static_cast<size_t>(units));
    for (int u = 0; u < units; ++u)
        results.units[static_cast<size_t>(u)].unit = QString("ql4k#%1").arg(u + 1);
    QStringList names;
    for (int s = 0; s < steps; ++s)
        names << QString("step-%1").arg(s + 1);
    CLiveReport live(arguments[3], "bench.txt", QDateTime::currentDateTimeUtc(), "bench");
    live.Started(results, names);
    for (int u = 0; u < units; ++u)
        live.UnitStarted(static_cast<size_t>(u), "bench", names[0]);
    QElapsedTimer timer;
    timer.start();
    qint64 last = 0;
    for (int s = 0; s < steps; ++s)
        for (int u = 0; u < units; ++u)
        {
            if (s == steps - 1 && u == 0)
                last = timer.nsecsElapsed();
            step.name = names[s];
            live.StepFinished(static_cast<size_t>(u), step, names.value(s + 1));
        }
    const double all = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    if (!live.Error().isEmpty())
    {
        fprintf(stderr, "sonarstation: %s\n", live.Error().toLocal8Bit().constData());
        return 1;
    }
    printf("live report, %d steps on %d units: %.2f ms a step on average, %.2f ms a step at the plan's end\n", steps,
           units, all / (steps * units), (all - static_cast<double>(last) / 1e6) / units);
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

// An interlock that cannot be checked is never skipped: each required plan must be known to the database.
bool CheckRequirements(const CPlan& plan, const CDbTarget& db, CResultsStore& store, QString& error)
{
    for (const PlanRequirement_T& requirement : plan.Requirements())
    {
        const QString where = QString("%1:%2: ").arg(plan.FileName()).arg(requirement.line);
        bool seen = false;
        if (db.Kind() == CDbTarget::NONE)
            error = where + QString("requires %1, which cannot be checked with --db none").arg(requirement.planName);
        else if (!store.PlanSeen(requirement.planName, seen, error))
            error = where + QString("requires %1, which cannot be checked: %2").arg(requirement.planName, error);
        else if (!seen)
            error = where + QString("requires %1, of which %2 holds no run").arg(requirement.planName, db.Display());
        if (!seen)
            return false;
    }
    return true;
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
    if (!store.Open(options.db, error))
        return Refuse(error);
    if (!CheckRequirements(plan, options.db, store, error))
    {
        Say(error);
        return 2;
    }
    if (!store.BeginSession(session, error))
        return Refuse(error);
    CRunRecorder recorder(store, options.operatorName, options.plan, session.planSha256);

    CatchStopSignals();
    CStation station(plan, options.units, options.jobs, stderr, &recorder);
    CLiveReport live(options.report, options.plan, session.started, session.host);
    if (!options.report.isEmpty())
        station.AddListener(&live);
    StationResults_T results = station.Run(options.plan);
    if (!live.Error().isEmpty())
        Say("sonarstation: the report did not follow the run: " + live.Error());
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
    if (command == "live-bench")
        return LiveBench(arguments.mid(1));
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
        return command == "yield"        ? analytics.Yield(rest)
               : command == "capability" ? analytics.Capability(rest)
               : command == "control"    ? analytics.Control(rest)
                                         : analytics.Dashboard(rest);
    }
    if (command == "limits")
        return CLimitsCommand(stdout, stderr).Run(arguments.mid(1));
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
                      "; the commands are run, history, export, sync, yield, capability, control, dashboard, limits "
                      "and help");
    return Run(options);
}
