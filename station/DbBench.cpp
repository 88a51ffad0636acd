#include "DbBench.h"

#include "DbBenchLot.h"
#include "DbTarget.h"
#include "Plan.h"
#include "ReportParser.h"
#include "ResultsDb.h"
#include "ResultsStore.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QSqlQuery>

#include <cmath>
#include <cstdio>

namespace
{
const char* const c_Usage =
    "usage: sonarstation db-bench --db DB [--runs N] [--steps N] [--samples N]\n"
    "       sonarstation db-bench --db DB --lot [--runs N] [--serials N] [--days N] [--batch N]";

// Transmit ring-down, a bottom echo and noise, as three-digit samples.
QByteArray Block(int samples, unsigned& state)
{
    QByteArray text = "Parameters:\nRange 10 m\n<SonarFPGAData>";
    for (int i = 0; i < samples; ++i)
    {
        state = state * 1103515245u + 12345u;
        const double echo = 300.0 * std::exp(-std::pow((i - samples * 0.6) / 12.0, 2));
        const int value = static_cast<int>(500.0 * std::exp(-i / 20.0) + echo + (state >> 16) % 40);
        text += QByteArray::number(qMin(value, 999)).rightJustified(3, '0');
    }
    return text + "<EndSonarFPGAData>\nElement: 1\n";
}
}

StepResult_T CDbBench::Step(const PlanStep_T& planStep, const QByteArray& block, double seconds,
                            const CReportParser& parser)
{
    StepResult_T step;
    step.name = planStep.name;
    step.command = planStep.command;
    step.text = block + "Corvane test program\n" + QByteArray(51, '-') + "\n./sonarbench " +
                planStep.command.join(' ').toUtf8() + "\nTest Output:\ndone\nTest Result: Test Passed.\n";
    step.exitStatus = 0;
    step.seconds = seconds;
    step.report = parser.Parse(step.text);
    step.verdict = step.report.verdict;
    step.met = true;
    for (const CExpectation& expectation : planStep.expectations)
    {
        step.expectations.push_back(expectation.Evaluate(step.report, step.verdict));
        step.met = step.met && step.expectations.back().met;
    }
    return step;
}

UnitResult_T CDbBench::Unit(int steps, int samples, unsigned seed)
{
    QByteArray planText;
    for (int s = 0; s < steps; ++s)
        planText += QString("step ping%1 ping %1\nexpect verdict passed\nexpect samples %2\n"
                            "expect peak 200..999 from %3\nexpect mean 0..500\n")
                        .arg(s + 1)
                        .arg(samples)
                        .arg(samples / 2)
                        .toUtf8();
    CPlan plan;
    QString error;
    plan.Parse(planText, "bench.txt", error);
    UnitResult_T unit;
    unit.unit = "ql4k";
    unit.met = true;
    const CReportParser parser;
    for (const PlanStep_T& planStep : plan.Steps())
    {
        unit.steps.push_back(Step(planStep, Block(samples, seed), 0.5, parser));
        unit.met = unit.met && unit.steps.back().met;
    }
    return unit;
}

bool CDbBench::Size(const CDbTarget& target, qint64& bytes, QString& error)
{
    CResultsDb results;
    if (!results.Open(target, error))
        return false;
    if (!results.Postgresql())
    {
        results.Close();
        bytes = QFileInfo(target.Path()).size() + QFileInfo(target.Path() + "-wal").size();
        return true;
    }
    QSqlQuery query(results.Connection());
    if (!results.Exec(query, "SELECT pg_database_size(current_database())", {}, error) || !query.next())
        return false;
    bytes = query.value(0).toLongLong();
    return true;
}

int CDbBench::Lot(const CDbTarget& target, const QStringList& arguments)
{
    LotCounts_T counts;
    int* const values[] = {&counts.runs, &counts.serials, &counts.days, &counts.batch};
    const QStringList names = {"--runs", "--serials", "--days", "--batch"};
    for (int i = 0; i < arguments.size(); i += 2)
    {
        bool ok = i + 1 < arguments.size() && names.contains(arguments[i]);
        if (ok)
            *values[names.indexOf(arguments[i])] = arguments[i + 1].toInt(&ok);
        if (!ok)
        {
            fprintf(stderr, "%s\n", c_Usage);
            return 2;
        }
    }
    QString error;
    qint64 before = 0;
    qint64 after = 0;
    LotSummary_T summary;
    QElapsedTimer timer;
    timer.start();
    if (!Size(target, before, error) || !CDbBenchLot::Store(target, counts, summary, error) ||
        !Size(target, after, error))
    {
        fprintf(stderr, "sonarstation: %s\n", qPrintable(error));
        return 1;
    }
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    printf("%s: a lot of %d runs (%d failed, %d virtual) of %d serials on %d plans over %d days, %d runs a "
           "transaction: %.1f s, %.2f ms a run, %.1f kB a run\n",
           qPrintable(target.Display()), summary.runs, summary.failed, summary.virtualRuns, summary.serials,
           summary.plans, counts.days, counts.batch, seconds, seconds * 1000.0 / summary.runs,
           static_cast<double>(after - before) / 1024.0 / summary.runs);
    return 0;
}

int CDbBench::Run(const QStringList& arguments)
{
    if (arguments.contains("--lot"))
    {
        QStringList rest = arguments;
        rest.removeAll("--lot");
        const int at = rest.indexOf("--db");
        CDbTarget target;
        QString error;
        if (at < 0 || at + 1 >= rest.size() || !CDbTarget::Parse(rest[at + 1], target, error) ||
            target.Kind() == CDbTarget::NONE)
        {
            fprintf(stderr, "%s\n", error.isEmpty() ? c_Usage : qPrintable("sonarstation: " + error));
            return 2;
        }
        return Lot(target, rest.mid(0, at) + rest.mid(at + 2));
    }
    QString db;
    int counts[3] = {1000, 5, 1024};  // runs, steps, samples
    const QStringList names = {"--runs", "--steps", "--samples"};
    for (int i = 0; i + 1 < arguments.size(); i += 2)
    {
        bool ok = arguments[i] == "--db";
        if (ok)
            db = arguments[i + 1];
        else if (names.contains(arguments[i]))
            counts[names.indexOf(arguments[i])] = arguments[i + 1].toInt(&ok);
        if (!ok || arguments.size() % 2 != 0)
        {
            fprintf(stderr, "%s\n", c_Usage);
            return 2;
        }
    }
    const int runs = counts[0];
    CDbTarget target;
    QString error;
    qint64 before = 0;
    if (db.isEmpty() || runs < 1 || counts[1] < 1 || counts[2] < 1 || !CDbTarget::Parse(db, target, error) ||
        target.Kind() == CDbTarget::NONE || !Size(target, before, error))
    {
        fprintf(stderr, "%s\n", error.isEmpty() ? c_Usage : qPrintable("sonarstation: " + error));
        return 2;
    }
    std::vector<UnitResult_T> units;
    for (unsigned seed = 1; seed <= 8; ++seed)
        units.push_back(Unit(counts[1], counts[2], seed));
    QElapsedTimer timer;
    timer.start();
    {
        CResultsStore store(stderr);
        SessionRecord_T session;
        session.host = "db-bench";
        session.plan = "bench.txt";
        session.planSha256 = QString(64, '0');
        bool ok = store.Open(target, error) && store.BeginSession(session, error);
        for (int r = 0; r < runs && ok; ++r)
        {
            const UnitResult_T& unit = units[static_cast<size_t>(r) % units.size()];
            RunRecord_T run;
            run.unit = unit.unit;
            run.isVirtual = true;
            run.serial = QString("BENCH-%1").arg(r, 6, 10, QChar('0')).toUtf8();
            run.serialSource = "unit";
            run.planName = session.plan;
            run.planSha256 = session.planSha256;
            ok = store.BeginRun(run, error);
            for (size_t s = 0; s < unit.steps.size() && ok; ++s)
                ok = store.AddStep(run.id, static_cast<int>(s), unit.steps[s], error);
            ok = ok && store.FinishRun(run.id, unit.met ? "passed" : "failed", unit, error);
        }
        if (!ok || !store.FinishSession(timer.elapsed() / 1000.0, true, error))
        {
            fprintf(stderr, "sonarstation: %s\n", qPrintable(error));
            return 1;
        }
    }
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    qint64 after = 0;
    if (!Size(target, after, error))
    {
        fprintf(stderr, "sonarstation: %s\n", qPrintable(error));
        return 1;
    }
    const size_t samples =
        units[0].steps[0].report.blocks.empty() ? 0 : units[0].steps[0].report.blocks[0].samples.size();
    printf("%s: %d runs of %d steps, %zu samples a block: %.2f s, %.2f ms a run, %.1f kB a run\n",
           qPrintable(target.Display()), runs, counts[1], samples, seconds, seconds * 1000.0 / runs,
           static_cast<double>(after - before) / 1024.0 / runs);
    return 0;
}
