// The results database on both engines: a session stored step by step and
// read back into identical result files, a unit's history, outside input
// stored verbatim, and several writers at once.
#include "EngineTest.h"

#include "DbTarget.h"
#include "HistoryFormat.h"
#include "HtmlReport.h"
#include "JsonWriter.h"
#include "JunitWriter.h"
#include "Plan.h"
#include "ReportParser.h"
#include "ResultCommands.h"
#include "ResultsDb.h"
#include "ResultsReader.h"
#include "ResultsSchema.h"
#include "ResultsStore.h"
#include "RunRows.h"
#include "StepRows.h"

#include <QDateTime>
#include <QDir>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <thread>

namespace
{
const QByteArray c_Hyphens(51, '-');

const char* const c_Plan = "step battery batteryvoltage\n"
                           "expect reading 11.5..13.5\n"
                           "step ping ping 1\n"
                           "expect samples 4\n"
                           "expect peak 200..300 from 1\n"
                           "expect mean 0..500.5\n"
                           "step pin sensepin\n"
                           "expect verdict passed\n";

QByteArray Report(const char* command, const QByteArray& output, const char* result)
{
    return "Corvane test program\n" + c_Hyphens + "\n./sonarbench " + command + "\nTest Output:\n" + output +
           "Test Result: " + result + "\n";
}

// What a station would have made of three steps on UNITS units; the last unit timed out in its last step.
StationResults_T SampleResults(int units)
{
    CPlan plan;
    QString error;
    EXPECT_TRUE(plan.Parse(c_Plan, "cor.plan", error)) << error.toStdString();
    const QByteArray reports[] = {
        Report("batteryvoltage", "12.625\n", "Operation Performed."),
        // The xK ping prints its block before the report, its parameters around it.
        "Parameters:\nRange 10 m\n<SonarFPGAData>010-20255100<EndSonarFPGAData>\nElement: 1\n" +
            Report("ping 1", "done\n", "Test Passed."),
        Report("sensepin", "\xff\xfe not UTF-8 \x01\n<SonarFPGAData>5,60,7\nERROR: pin 3 low\n", "Tests Failed."),
    };
    StationResults_T results;
    results.host = "station-7";
    results.started = QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC);
    results.plan = "plans/cor.plan";
    results.seconds = 12.0625 + 1e-9;
    results.met = false;
    for (int u = 0; u < units; ++u)
    {
        UnitResult_T unit;
        unit.unit = u == 1 ? "ssh:unit-2.local" : "ql4k";
        unit.serial = "SN-1" + QByteArray::number(u);  // as StoreSession stores it by default
        unit.met = true;
        for (size_t s = 0; s < plan.Steps().size(); ++s)
        {
            const PlanStep_T& planStep = plan.Steps()[s];
            StepResult_T step;
            step.name = planStep.name;
            step.command = planStep.command;
            step.text = reports[s];
            step.errors = s == 2 ? QByteArray("warning \xc3\x28\n") : QByteArray();
            step.exitStatus = s == 2 ? 1 : 0;
            step.seconds = 0.1 + u * 0.0123456789 + s / 3.0;
            step.report = CReportParser().Parse(step.text);
            const bool timedOut = u == units - 1 && s == 2;
            step.verdict = timedOut ? QString("timeout") : step.report.verdict;
            step.met = true;
            for (const CExpectation& expectation : planStep.expectations)
            {
                step.expectations.push_back(expectation.Evaluate(step.report, step.verdict));
                step.met = step.met && step.expectations.back().met;
            }
            unit.met = unit.met && step.met;
            unit.steps.push_back(step);
        }
        if (u == 1)
            unit.unreachable = "ssh: connect to host unit-2.local port 22: Connection refused";
        if (u == 2)
            unit.error = "left on the unit: 'bench.txt'";
        results.units.push_back(unit);
    }
    return results;
}

}

class ResultsDb : public CEngineTest
{
protected:
    // A run of one unit with these results, stored as the station stores it.
    QString StoreRun(CResultsStore& store, const UnitResult_T& unit, int slot, RunRecord_T run, bool finish = true)
    {
        QString error;
        run.slot = slot;
        run.unit = unit.unit;
        EXPECT_TRUE(store.BeginRun(run, error)) << error.toStdString();
        for (size_t i = 0; i < unit.steps.size(); ++i)
            EXPECT_TRUE(store.AddStep(run.id, static_cast<int>(i), unit.steps[i], error)) << error.toStdString();
        if (finish)
        {
            EXPECT_TRUE(store.FinishRun(run.id, unit.met ? "passed" : "failed", unit, error)) << error.toStdString();
        }
        return run.id;
    }

    QString StoreSession(const StationResults_T& results, const QByteArray& serial = "SN-1")
    {
        CResultsStore store(nullptr);
        QString error;
        EXPECT_TRUE(store.Open(m_Target, error)) << error.toStdString();
        SessionRecord_T session;
        session.host = results.host;
        session.started = results.started;
        session.stationVersion = "0.1";
        session.plan = results.plan;
        session.planSha256 = QString(64, 'a');
        session.jobs = 2;
        EXPECT_TRUE(store.BeginSession(session, error)) << error.toStdString();
        for (size_t u = 0; u < results.units.size(); ++u)
            StoreRun(store, results.units[u], static_cast<int>(u), Run(serial + QByteArray::number(int(u))));
        EXPECT_TRUE(store.FinishSession(results.seconds, results.met, error)) << error.toStdString();
        return session.id;
    }

    static RunRecord_T Run(const QByteArray& serial)
    {
        RunRecord_T run;
        run.serial = serial;
        run.serialSource = "unit";
        run.isVirtual = true;
        run.product = "QL4K";
        run.applicationVersion = "4.2.1";
        run.platformVersion = "2.0";
        run.productIdentification = "Product: QL4K\n";
        run.operatorName = "ana";
        run.planName = "cor.plan";
        run.planSha256 = QString(64, 'a');
        return run;
    }

    void OpenDb(CResultsDb& db)
    {
        QString error;
        ASSERT_TRUE(db.Open(m_Target, error)) << error.toStdString();
    }

    qlonglong Count(CResultsDb& db, const QString& table)
    {
        QSqlQuery query(db.Connection());
        QString error;
        EXPECT_TRUE(db.Exec(query, "SELECT COUNT(*) FROM " + table, {}, error) && query.next()) << error.toStdString();
        return query.value(0).toLongLong();
    }

    // The history or export command with --db naming the test's database.
    Outcome_T Command(bool history, QByteArrayList arguments)
    {
        arguments << "--db" << m_Url.toUtf8();
        return Captured([&](FILE* out, FILE* err) {
            const CResultCommands commands(out, err);
            return history ? commands.History(arguments) : commands.Export(arguments);
        });
    }
};

TEST_P(ResultsDb, SessionReadBackWritesIdenticalJsonAndJunit)
{
    const StationResults_T results = SampleResults(3);
    const QString session = StoreSession(results);
    CResultsDb db;
    OpenDb(db);
    StationResults_T loaded;
    QString error;
    ASSERT_TRUE(CResultsReader(db).LoadSession(session, loaded, error)) << error.toStdString();
    EXPECT_EQ(CJsonWriter().Document(loaded).toStdString(), CJsonWriter().Document(results).toStdString());
    EXPECT_EQ(CJunitWriter().Document(loaded).toStdString(), CJunitWriter().Document(results).toStdString());
    for (size_t u = 0; u < results.units.size(); ++u)
        for (size_t s = 0; s < results.units[u].steps.size(); ++s)
        {
            const StepResult_T& step = results.units[u].steps[s];
            EXPECT_EQ(loaded.units[u].steps[s].text, step.text);
            EXPECT_EQ(loaded.units[u].steps[s].errors, step.errors);
            for (size_t e = 0; e < step.expectations.size(); ++e)
                EXPECT_EQ(loaded.units[u].steps[s].expectations[e].measured.type() == QVariant::Double,
                          step.expectations[e].measured.type() == QVariant::Double);
        }

    // Each sample block as stored, samples unpacked again.
    QSqlQuery query(db.Connection());
    ASSERT_TRUE(db.Exec(query,
                        "SELECT s.step_index, b.block_format, b.complete, b.well_formed, b.lines, b.sample_count, "
                        "b.samples FROM sample_blocks b JOIN steps s ON s.run_id = b.run_id AND s.step_index = "
                        "b.step_index JOIN runs r ON r.id = s.run_id WHERE r.slot = 0 ORDER BY s.step_index",
                        {}, error))
        << error.toStdString();
    QString blocks;
    while (query.next())
    {
        blocks += QString("%1 %2 %3 %4 %5 %6:")
                      .arg(query.value(0).toInt())
                      .arg(query.value(1).toString())
                      .arg(query.value(2).toInt())
                      .arg(query.value(3).toInt())
                      .arg(query.value(4).toString())
                      .arg(query.value(5).toInt());
        for (int sample : CStepRows::UnpackSamples(query.value(6).toByteArray()))
            blocks += QString(" %1").arg(sample);
        blocks += "\n";
    }
    EXPECT_EQ(blocks.toStdString(), "1 three-digit 1 1 [\"Range 10 m\",\"Element: 1\"] 4: 10 -20 255 100\n"
                                    "2 comma 0 1 [] 3: 5 60 7\n");
}

TEST_P(ResultsDb, HistoryCountsAttemptsAndKeepsAbortedRuns)
{
    const StationResults_T results = SampleResults(2);
    CResultsStore store(nullptr);
    QString error;
    ASSERT_TRUE(store.Open(m_Target, error)) << error.toStdString();
    SessionRecord_T session;
    session.host = "station-7";
    session.plan = results.plan;
    ASSERT_TRUE(store.BeginSession(session, error)) << error.toStdString();
    // Failed, then killed after two steps (never finished), then passed.
    UnitResult_T passing = results.units[0];
    passing.met = true;
    UnitResult_T killed = results.units[0];
    killed.steps.resize(2);
    const QString first = StoreRun(store, results.units[0], 0, Run("SN-9"));
    const QString second = StoreRun(store, killed, 0, Run("SN-9"), false);
    const QString third = StoreRun(store, passing, 0, Run("SN-9"));
    StoreRun(store, passing, 1, Run("SN-10"));

    CResultsDb db;
    OpenDb(db);
    UnitHistory_T history;
    ASSERT_TRUE(CResultsReader(db).History("SN-9", history, error)) << error.toStdString();
    ASSERT_EQ(history.runs.size(), 3u);
    QString summary;
    for (const HistoryRun_T& run : history.runs)
        summary += QString("%1 %2 %3 %4 steps, %5\n")
                       .arg(run.run.id == first    ? "first"
                            : run.run.id == second ? "second"
                            : run.run.id == third  ? "third"
                                                   : "?")
                       .arg(run.run.attempt.toInt())
                       .arg(run.run.result)
                       .arg(run.steps.size())
                       .arg(run.station);
    EXPECT_EQ(summary.toStdString(), "first 1 failed 3 steps, station-7\n"
                                     "second 2 aborted 2 steps, station-7\n"
                                     "third 2 passed 3 steps, station-7\n");

    // The JSON form, times aside, as a whole.
    QString json = CHistoryFormat::Json(history);
    json.replace(QRegularExpression("\"(start|end|id)\": \"[^\"]*\""), "\"\\1\": \"\"");
    json.replace(QRegularExpression("\\s+"), " ");
    const QString battery = "\"name\": \"battery\", \"verdict\": \"performed\"";
    const QString firstRun =
        json.mid(json.indexOf("\"runs\""), json.indexOf(battery) + battery.size() - json.indexOf("\"runs\""));
    EXPECT_EQ(
        firstRun.toStdString(),
        "\"runs\": [ { \"attempt\": 1, \"end\": \"\", \"id\": \"\", \"operator\": \"ana\", \"plan\": "
        "\"cor.plan\", \"plan_sha256\": \"" +
            std::string(64, 'a') +
            "\", \"product\": \"QL4K\", \"result\": "
            "\"failed\", \"serial_source\": \"unit\", \"slot\": 0, \"start\": \"\", \"station\": \"station-7\", "
            "\"steps\": [ { \"measurements\": [ { \"expected\": \"passed or performed\", \"high\": null, \"key\": "
            "\"verdict\", \"low\": null, \"met\": true, \"value\": \"performed\" }, { \"expected\": \"11.5..13.5\", "
            "\"high\": 13.5, \"key\": \"reading\", \"low\": 11.5, \"met\": true, \"value\": 12.625 } ], \"met\": "
            "true, \"name\": \"battery\", \"verdict\": \"performed\"");
    EXPECT_TRUE(json.contains("{ \"expected\": \"200..300\", \"from\": 1, \"high\": 300, \"key\": \"peak\", \"low\": "
                              "200, \"met\": true, \"value\": 255 }"))
        << json.toStdString();
    EXPECT_TRUE(json.contains("{ \"expected\": \"passed\", \"high\": null, \"key\": \"verdict\", \"low\": null, "
                              "\"met\": false, \"value\": \"failed\" }"))
        << json.toStdString();
    EXPECT_TRUE(json.contains("\"versions\": { \"application\": \"4.2.1\", \"platform\": \"2.0\" }, \"virtual\": "
                              "true"));
    const QString table = CHistoryFormat::Table(history);
    EXPECT_TRUE(table.startsWith("Serial SN-9: 3 run(s)\n\nRun " + first + ", attempt 1: FAILED, virtual unit\n"))
        << table.toStdString();
    EXPECT_TRUE(table.contains("  peak from 1  255        200   300    yes\n")) << table.toStdString();
}

TEST_P(ResultsDb, OutsideTextIsStoredAndReadBackVerbatim)
{
    const QByteArray serials[] = {"'; DROP TABLE runs; --", "SN\n2", QByteArray(10240, 'x') + "\xff",
                                  QByteArray("\xc3\x28\xa0\xa1 ") + QByteArray(1, '\0') + " end"};
    StationResults_T results = SampleResults(1);
    results.units[0].unit = "ssh:'; DROP TABLE steps; --";
    results.units[0].steps[0].name = QString::fromUtf8("\xe2\x82\xac'\";--");
    for (const QByteArray& serial : serials)
    {
        const QByteArray& whole = serial;
        const QString session = StoreSession(results, whole);
        CResultsDb db;
        OpenDb(db);
        QString error;
        UnitHistory_T history;
        ASSERT_TRUE(CResultsReader(db).History(whole + "0", history, error)) << error.toStdString();
        ASSERT_EQ(history.runs.size(), 1u) << whole.toStdString();
        EXPECT_EQ(history.runs[0].run.serial, whole + "0");
        EXPECT_EQ(history.runs[0].run.unit, results.units[0].unit);
        StationResults_T loaded;
        ASSERT_TRUE(CResultsReader(db).LoadSession(session, loaded, error)) << error.toStdString();
        EXPECT_EQ(CJsonWriter().Document(loaded), CJsonWriter().Document(results));
        EXPECT_FALSE(CHistoryFormat::Table(history).contains("SN\n2"));
    }
    CResultsDb db;
    OpenDb(db);
    EXPECT_EQ(Count(db, "runs"), 4);
    EXPECT_EQ(Count(db, "steps"), 12);
}

TEST_P(ResultsDb, WritersAtOnceStoreEveryRowOnce)
{
    const StationResults_T results = SampleResults(1);
    const int writers = 4;
    const int runs = 6;
    std::vector<std::thread> threads;
    std::vector<QString> errors(writers);
    for (int w = 0; w < writers; ++w)
        threads.emplace_back([&, w]() {
            CResultsStore store(nullptr);
            QString& error = errors[w];
            SessionRecord_T session;
            session.plan = results.plan;
            if (!store.Open(m_Target, error) || !store.BeginSession(session, error))
                return;
            for (int r = 0; r < runs && error.isEmpty(); ++r)
            {
                RunRecord_T run = Run("SHARED");
                run.unit = "ql4k";
                if (!store.BeginRun(run, error))
                    return;
                for (size_t s = 0; s < results.units[0].steps.size(); ++s)
                    if (!store.AddStep(run.id, static_cast<int>(s), results.units[0].steps[s], error))
                        return;
                store.FinishRun(run.id, "failed", false, error);
            }
            store.FinishSession(1, false, error);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const QString& error : errors)
        EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    CResultsDb db;
    OpenDb(db);
    EXPECT_EQ(Count(db, "sessions WHERE ended IS NOT NULL"), writers);
    EXPECT_EQ(Count(db, "runs WHERE result = 'failed'"), writers * runs);
    EXPECT_EQ(Count(db, "steps"), writers * runs * 3);
    EXPECT_EQ(Count(db, "measurements"), writers * runs * 7);
    EXPECT_EQ(Count(db, "sample_blocks"), writers * runs * 2);
    // Attempts of one serial counted by runs finished before, each below the number of runs.
    EXPECT_EQ(Count(db, "runs WHERE attempt < 1 OR attempt > " + QString::number(writers * runs)), 0);
}

TEST_P(ResultsDb, NewerSchemaIsRefused)
{
    {
        CResultsDb db;
        OpenDb(db);
        QSqlQuery query(db.Connection());
        QString error;
        ASSERT_TRUE(db.Exec(query, "UPDATE schema_version SET version = ?", {CResultsSchema::Version() + 1}, error));
    }
    CResultsDb db;
    QString error;
    EXPECT_FALSE(db.Open(m_Target, error));
    EXPECT_EQ(error.toStdString(), QString("results database %1: its schema is version %2, newer than this "
                                           "station's %3: use a newer sonarstation")
                                       .arg(m_Target.Display())
                                       .arg(CResultsSchema::Version() + 1)
                                       .arg(CResultsSchema::Version())
                                       .toStdString());
}

namespace
{
std::string Masked(std::string text)
{
    QString masked = QString::fromStdString(text);
    masked.replace(QRegularExpression("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z"), "TIME");
    masked.replace(QRegularExpression("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"), "ID");
    return masked.toStdString();
}

QByteArray FileBytes(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}
}

TEST_P(ResultsDb, HistoryCommandShowsOutsideTextSafely)
{
    StationResults_T results = SampleResults(1);
    results.units[0].unit = "ssh:\x1b[2Jhost";
    for (const QByteArray& serial :
         {QByteArray("'; DROP TABLE runs; --"), QByteArray("SN\n2"), QByteArray("\xff\xfeX")})
        StoreSession(results, serial);

    const Outcome_T text = Command(true, {"SN\n20"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(Masked(text.out), "Serial SN\\x0a20: 1 run(s)\n"
                                "\n"
                                "Run ID, attempt 1: FAILED, virtual unit\n"
                                "  Time      TIME to TIME\n"
                                "  Station   station-7, slot 0, ssh:\\x1b[2Jhost\n"
                                "  Operator  ana\n"
                                "  Plan      cor.plan, SHA-256 " +
                                    std::string(64, 'a') +
                                    "\n"
                                    "  Product   QL4K\n"
                                    "  Versions  application 4.2.1, platform 2.0\n"
                                    "\n"
                                    "  STEP     VERDICT    MET  MEASURED     VALUE      LOW   HIGH   MET\n"
                                    "  battery  performed  yes  verdict      performed  -     -      yes\n"
                                    "                           reading      12.625     11.5  13.5   yes\n"
                                    "  ping     passed     yes  verdict      passed     -     -      yes\n"
                                    "                           samples      4          4     4      yes\n"
                                    "                           peak from 1  255        200   300    yes\n"
                                    "                           mean         86.25      0     500.5  yes\n"
                                    "  pin      timeout    NO   verdict      timeout    -     -      NO\n");
    const Outcome_T json = Command(true, {"--json", "'; DROP TABLE runs; --0"});
    EXPECT_EQ(json.status, 0) << json.err;
    std::string compact = Masked(json.out);
    compact = QString::fromStdString(compact).replace(QRegularExpression("\\s+"), " ").toStdString();
    const std::string verdict =
        "{ \"expected\": \"passed or performed\", \"high\": null, \"key\": \"verdict\", \"low\": "
        "null, \"met\": true, \"value\": ";
    EXPECT_EQ(compact,
              "{ \"runs\": [ { \"attempt\": 1, \"end\": \"TIME\", \"id\": \"ID\", \"operator\": \"ana\", \"plan\": "
              "\"cor.plan\", \"plan_sha256\": \"" +
                  std::string(64, 'a') +
                  "\", \"product\": \"QL4K\", \"result\": \"failed\", \"serial_source\": \"unit\", \"slot\": 0, "
                  "\"start\": \"TIME\", \"station\": \"station-7\", \"steps\": [ { \"measurements\": [ " +
                  verdict +
                  "\"performed\" }, { \"expected\": \"11.5..13.5\", \"high\": 13.5, \"key\": \"reading\", \"low\": "
                  "11.5, \"met\": true, \"value\": 12.625 } ], \"met\": true, \"name\": \"battery\", \"verdict\": "
                  "\"performed\" }, { \"measurements\": [ " +
                  verdict +
                  "\"passed\" }, { \"expected\": \"4\", \"high\": 4, \"key\": \"samples\", \"low\": 4, \"met\": true, "
                  "\"value\": 4 }, { \"expected\": \"200..300\", \"from\": 1, \"high\": 300, \"key\": \"peak\", "
                  "\"low\": 200, \"met\": true, \"value\": 255 }, { \"expected\": \"0..500.5\", \"high\": 500.5, "
                  "\"key\": \"mean\", \"low\": 0, \"met\": true, \"value\": 86.25 } ], \"met\": true, \"name\": "
                  "\"ping\", \"verdict\": \"passed\" }, { \"measurements\": [ { \"expected\": \"passed\", \"high\": "
                  "null, \"key\": \"verdict\", \"low\": null, \"met\": false, \"value\": \"timeout\" } ], \"met\": "
                  "false, \"name\": \"pin\", \"verdict\": \"timeout\" } ], \"unit\": \"ssh:\\u001b[2Jhost\", "
                  "\"versions\": { \"application\": \"4.2.1\", \"platform\": \"2.0\" }, \"virtual\": true } ], "
                  "\"serial\": \"'; DROP TABLE runs; --0\" } ");
    const Outcome_T bytes = Command(true, {"\xff\xfeX0", "--json"});
    EXPECT_EQ(bytes.status, 0) << bytes.err;
    EXPECT_NE(bytes.out.find("\"serial\": \"\xef\xbf\xbd\xef\xbf\xbdX0\""), std::string::npos) << bytes.out;

    // Another serial's runs, and one that is not there at all.
    const Outcome_T none = Command(true, {"\xff\xfe"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "Serial \xef\xbf\xbd\xef\xbf\xbd: 0 run(s)\n");
    EXPECT_EQ(none.err, "sonarstation: results database " + m_Target.Display().toStdString() +
                            " holds no run of serial '\xef\xbf\xbd\xef\xbf\xbd'\n");
    const Outcome_T usage = Command(true, {"a", "b"});
    EXPECT_EQ(usage.status, 2);
    EXPECT_EQ(usage.err, "sonarstation: unexpected 'b' (sonarstation help prints the usage)\n");
}

TEST_P(ResultsDb, ExportWritesTheFilesTheRunWrote)
{
    const StationResults_T results = SampleResults(3);
    const QString session = StoreSession(results);
    StoreSession(SampleResults(1));  // another session beside it
    const QDir dir(m_Home.path());
    QString error;
    ASSERT_TRUE(CJsonWriter().Write(dir.filePath("run.json"), results, error)) << error.toStdString();
    ASSERT_TRUE(CJunitWriter().Write(dir.filePath("run.xml"), results, error)) << error.toStdString();
    ASSERT_TRUE(CHtmlReport().Write(dir.filePath("run-report"), results, error)) << error.toStdString();

    CResultsDb db;
    OpenDb(db);
    std::vector<RunRecord_T> runs;
    ASSERT_TRUE(CRunRows::RunsOfSession(db, session, runs, error)) << error.toStdString();
    ASSERT_EQ(runs.size(), 3u);
    // Any of the session's runs names the whole session; an earlier export is replaced.
    for (const RunRecord_T& run : {runs[2], runs[1]})
    {
        const Outcome_T exported =
            Command(false, {run.id.toUtf8(), "--json", dir.filePath("db.json").toUtf8(), "--junit",
                            dir.filePath("db.xml").toUtf8(), "--report", dir.filePath("db-report").toUtf8()});
        EXPECT_EQ(exported.status, 0) << exported.err;
        EXPECT_EQ(exported.out, "");
        EXPECT_EQ(exported.err, QString("JSON written to %1/db.json\nJUnit written to %1/db.xml\n"
                                        "HTML report written to %1/db-report/index.html\n")
                                    .arg(dir.absolutePath())
                                    .toStdString());
    }
    EXPECT_EQ(FileBytes(dir.filePath("db.json")).toStdString(), FileBytes(dir.filePath("run.json")).toStdString());
    EXPECT_EQ(FileBytes(dir.filePath("db.xml")).toStdString(), FileBytes(dir.filePath("run.xml")).toStdString());
    const QStringList pages = QDir(dir.filePath("run-report")).entryList(QDir::Files | QDir::Hidden);
    EXPECT_EQ(QDir(dir.filePath("db-report")).entryList(QDir::Files | QDir::Hidden), pages);
    EXPECT_EQ(pages.size(), 11);
    for (const QString& page : pages)
        EXPECT_EQ(FileBytes(dir.filePath("db-report/" + page)), FileBytes(dir.filePath("run-report/" + page)))
            << page.toStdString();

    const Outcome_T stdout_ = Command(false, {runs[0].id.toUtf8(), "--json", "-"});
    EXPECT_EQ(stdout_.status, 0);
    EXPECT_EQ(stdout_.out, CJsonWriter().Document(results).toStdString());
    const Outcome_T unknown = Command(false, {"'; DROP TABLE runs; --\x1b[2J", "--json", "-"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.out, "");
    EXPECT_EQ(unknown.err, "sonarstation: results database " + m_Target.Display().toStdString() +
                               ": it holds no run '; DROP TABLE runs; --\\x1b[2J\n");
    EXPECT_EQ(Count(db, "runs"), 4);
}

ENGINE_TEST_SUITE(ResultsDb);
