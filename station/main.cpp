// sonarstation: runs a test plan on many sonar units, real or virtual, and
// turns every report into structured results, JUnit XML and an HTML report.
#include "CommandLine.h"
#include "HtmlReport.h"
#include "JsonWriter.h"
#include "JunitWriter.h"
#include "Plan.h"
#include "ReportParser.h"
#include "Station.h"

#include <QElapsedTimer>
#include <QFile>

#include <csignal>
#include <cstdio>

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

bool WriteOutputs(const StationOptions_T& options, const StationResults_T& results)
{
    QString error;
    bool ok = true;
    if (!options.json.isEmpty() && !CJsonWriter().Write(options.json, results, error))
        ok = false;
    else if (!options.junit.isEmpty() && !CJunitWriter().Write(options.junit, results, error))
        ok = false;
    else if (!options.report.isEmpty() && !CHtmlReport().Write(options.report, results, error))
        ok = false;
    if (!ok)
        fprintf(stderr, "sonarstation: %s\n", qPrintable(error));
    return ok;
}
}

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (arguments.value(0) == "parse-bench")
        return ParseBench(arguments.mid(1));
    if (arguments.value(0) == "--help" || arguments.value(0) == "-h")
    {
        printf("%s", CCommandLine::Usage());
        return 0;
    }
    StationOptions_T options;
    QString error;
    if (arguments.value(0) != "run" || !CCommandLine().Parse(arguments.mid(1), options, error))
    {
        fprintf(stderr, "sonarstation: %s\n%s", qPrintable(error.isEmpty() ? "the command is run" : error),
                CCommandLine::Usage());
        return 2;
    }
    CPlan plan;
    if (!plan.Load(options.plan, error))
    {
        fprintf(stderr, "%s\n", qPrintable(error));
        return 2;
    }

    CatchStopSignals();
    CStation station(plan, options.units, options.jobs, stderr);
    const StationResults_T results = station.Run(options.plan);
    size_t steps = 0;
    size_t unmet = 0;
    results.CountSteps(steps, unmet);
    fprintf(stderr, "%zu units, %zu steps: %zu met, %zu not met (%.2f s, -j %d)\n", results.units.size(), steps,
            steps - unmet, unmet, results.seconds, options.jobs);
    // What was gathered before a stop is written all the same.
    if (!WriteOutputs(options, results))
        return 1;
    if (const int signal = CStepRunner::StopRequested())
    {
        fprintf(stderr, "sonarstation: stopped by signal %d\n", signal);
        return 128 + signal;
    }
    return results.met ? 0 : 1;
}
