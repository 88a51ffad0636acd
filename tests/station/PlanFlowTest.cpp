// Plans that stop, retry and require another plan, end to end on a results
// database: what the console says, what is stored of every try, what the
// result files show, and that an export gives them back byte for byte.
#include "StationProcess.h"

#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace TestDb;

namespace
{
// Writes a session's result files again from the database and compares them with the run's own, byte for byte.
void ExpectExportMatches(const QString& db, const QString& runId, const QString& dir, const QString& name)
{
    const QString again = dir + "/export-" + name;
    ASSERT_EQ(RunStation({"export", runId, "--db", db, "--json", again + ".json", "--junit", again + ".xml", "--report",
                          again + "-html"})
                  .exitCode,
              0);
    EXPECT_EQ(Read(again + ".json"), Read(dir + "/" + name + ".json")) << name.toStdString();
    EXPECT_EQ(Read(again + ".xml"), Read(dir + "/" + name + ".xml")) << name.toStdString();
    const QStringList pages = QDir(dir + "/" + name + "-html").entryList(QDir::Files);
    EXPECT_EQ(QDir(again + "-html").entryList(QDir::Files), pages);
    for (const QString& page : pages)
        EXPECT_EQ(Read(again + "-html/" + page), Read(dir + "/" + name + "-html/" + page)) << page.toStdString();
}

QStringList ResultArguments(const QString& dir, const QString& name)
{
    return {"--json",   dir + "/" + name + ".json", "--junit", dir + "/" + name + ".xml",
            "--report", dir + "/" + name + "-html"};
}

// Each step of a JSON result file as "unit name verdict met try earlier-tries".
QStringList JsonSteps(const QString& path)
{
    QStringList steps;
    for (const QJsonValue& unit : ReadJson(path)["units"].toArray())
        for (const QJsonValue& step : unit["steps"].toArray())
        {
            QStringList earlier;
            for (const QJsonValue& tried : step["earlier_tries"].toArray())
                earlier << QString("%1:%2:%3")
                               .arg(tried["try"].toInt())
                               .arg(tried["verdict"].toString())
                               .arg(tried["met"].toBool());
            steps << QString("%1 %2 %3 %4 %5 [%6]")
                         .arg(unit["unit"].toString(), step["name"].toString(), step["verdict"].toString())
                         .arg(step["met"].toBool())
                         .arg(step["try"].toInt())
                         .arg(earlier.join(' '));
        }
    return steps;
}

const char* const c_StopAndRetry = "stop-on-fail\n"
                                   "step firmware loadfpgabinary\n"
                                   "step high-band xkping 200kHPShort.txt 0 1\n"
                                   "retry 2\n"
                                   "expect peak 200..215 from 32\n"
                                   "step low-band xkping 50kLF.txt 0 1\n"
                                   "expect peak 200..215 from 64\n"
                                   "step board-reading lcdtemperature\n"
                                   "always\n"
                                   "expect reading 362..617\n";
}

// The lot's defective unit 16 misses its echo on every try: the plan stops, but
// its board is still read. Unit 7's weak echo misses on its second attempt's
// first try and is met on the second try.
TEST(PlanFlow, AStopSkipsTheRestButTheAlwaysStepAndEveryTryIsStored)
{
    QTemporaryDir dir;
    const QString db = dir.filePath("results.db");
    const QString plan = dir.filePath("eol.txt");
    ASSERT_TRUE(WriteFile(plan, c_StopAndRetry));
    const StationRun_T first =
        RunStation(QStringList{"run", plan, "--lot", "ql4k:1:16", "--lot", "ql4k:1:7", "-j", "1", "--db", db} +
                   ResultArguments(dir.path(), "first"));
    EXPECT_EQ(first.exitCode, 1);
    const QString tryLine = "ql4k#16 high-band: passed, NOT MET: peak from 32 expected 200..215, measured %1 (T s), "
                            "try %2 of 3";
    EXPECT_EQ(
        TimelessLines(first.errors).join('\n').toStdString(),
        Lines(
            {"ql4k#16 firmware: passed, met (T s)", tryLine.arg(137).arg(1), tryLine.arg(143).arg(2),
             tryLine.arg(142).arg(3),
             "ql4k#16: high-band not met: stop-on-fail skips the remaining steps but the always ones",
             "ql4k#16 board-reading: performed, met (T s)", "ql4k#7 firmware: passed, met (T s)",
             "ql4k#7 high-band: passed, met (T s), try 1 of 3", "ql4k#7 low-band: passed, met (T s)",
             "ql4k#7 board-reading: performed, met (T s)",
             "ql4k#16, serial VQL4K-0016: NOT MET, 1 of 4 steps not met: high-band, 1 skipped; first unmet: high-band "
             "peak from 32 expected 200..215, measured 142",
             "ql4k#7: met, 4 steps", "2 units, 8 steps: 6 met, 1 not met, 1 not run (T s, -j 1)",
             "JSON written to " + dir.filePath("first.json"), "JUnit written to " + dir.filePath("first.xml"),
             "HTML report written to " + dir.filePath("first-html/index.html")}));
    const StationRun_T second =
        RunStation(QStringList{"run", plan, "--lot", "ql4k:1:7", "--db", db} + ResultArguments(dir.path(), "second"));
    EXPECT_EQ(second.exitCode, 0) << second.errors.toStdString();
    EXPECT_TRUE(TimelessLines(second.errors)
                    .join('\n')
                    .contains("ql4k#7 high-band: passed, NOT MET: peak from 32 expected 200..215, measured 199 (T s), "
                              "try 1 of 3\n"
                              "ql4k#7 high-band: passed, met (T s), try 2 of 3\n"
                              "ql4k#7 low-band: passed, met (T s)\n"
                              "ql4k#7 board-reading: performed, met (T s)\n"
                              "ql4k#7: met, 4 steps"))
        << second.errors.toStdString();

    // Every try its own row, with its measurements and sample blocks; a skipped step has none.
    EXPECT_EQ(
        Rows(db, "SELECT r.unit, r.attempt, r.result, s.step_index, s.try_number, s.name, s.verdict, s.met, "
                 "(SELECT COUNT(*) FROM measurements m WHERE m.run_id = s.run_id AND m.step_index = "
                 "s.step_index AND m.try_number = s.try_number), (SELECT COUNT(*) FROM sample_blocks b WHERE "
                 "b.run_id = s.run_id AND b.step_index = s.step_index AND b.try_number = s.try_number) "
                 "FROM steps s JOIN runs r ON r.id = s.run_id ORDER BY r.started, r.slot, s.step_index, "
                 "s.try_number"),
        Lines({"ql4k#16|1|failed|0|1|firmware|passed|1|1|0", "ql4k#16|1|failed|1|1|high-band|passed|0|2|1",
               "ql4k#16|1|failed|1|2|high-band|passed|0|2|1", "ql4k#16|1|failed|1|3|high-band|passed|0|2|1",
               "ql4k#16|1|failed|2|1|low-band|skipped|0|0|0", "ql4k#16|1|failed|3|1|board-reading|performed|1|2|0",
               "ql4k#7|1|passed|0|1|firmware|passed|1|1|0", "ql4k#7|1|passed|1|1|high-band|passed|1|2|1",
               "ql4k#7|1|passed|2|1|low-band|passed|1|2|1", "ql4k#7|1|passed|3|1|board-reading|performed|1|2|0",
               "ql4k#7|2|passed|0|1|firmware|passed|1|1|0", "ql4k#7|2|passed|1|1|high-band|passed|0|2|1",
               "ql4k#7|2|passed|1|2|high-band|passed|1|2|1", "ql4k#7|2|passed|2|1|low-band|passed|1|2|1",
               "ql4k#7|2|passed|3|1|board-reading|performed|1|2|0"}));
    EXPECT_EQ(Lines(JsonSteps(dir.filePath("first.json"))),
              Lines({"ql4k#16 firmware passed 1 0 []", "ql4k#16 high-band passed 0 3 [1:passed:0 2:passed:0]",
                     "ql4k#16 low-band skipped 0 0 []", "ql4k#16 board-reading performed 1 0 []",
                     "ql4k#7 firmware passed 1 0 []", "ql4k#7 high-band passed 1 0 []", "ql4k#7 low-band passed 1 0 []",
                     "ql4k#7 board-reading performed 1 0 []"}));
    EXPECT_EQ(Lines(JsonSteps(dir.filePath("second.json")).mid(1, 1)), "ql4k#7 high-band passed 1 2 [1:passed:0]");
    const QByteArray junit = Read(dir.filePath("first.xml"));
    EXPECT_TRUE(junit.contains("<testsuite name=\"ql4k#16\" tests=\"4\" failures=\"1\" errors=\"0\" skipped=\"1\""));
    EXPECT_TRUE(junit.contains("<testcase classname=\"ql4k#16\" name=\"low-band\" time=\"0.000\">\n"
                               "            <skipped message=\"skipped: an earlier step was not met and the plan "
                               "stops on a failure\"/>\n"
                               "            <system-out></system-out>\n"
                               "        </testcase>\n"));
    EXPECT_TRUE(junit.contains("<system-out>--- try 1 of 3, passed, not met: peak from 32 expected 200..215, "
                               "measured 137\n"));
    const QByteArray retried = Read(dir.filePath("second.xml"));
    EXPECT_TRUE(retried.contains("<system-out>--- try 1 of 2, passed, not met: peak from 32 expected 200..215, "
                                 "measured 199\n"));
    EXPECT_TRUE(retried.contains("\n--- try 2 of 2, passed, met\n"));
    ExpectValidJunit(dir.filePath("first.xml"));
    ExpectValidJunit(dir.filePath("second.xml"));
    const QByteArray index = Read(dir.filePath("second-html/index.html"));
    EXPECT_TRUE(index.contains("<td class=\"met\"><a href=\"unit1-high-band.html\">passed, met, try 2</a></td>"));
    EXPECT_TRUE(Read(dir.filePath("first-html/index.html"))
                    .contains("<td class=\"missing\"><a href=\"unit1-low-band.html\">skipped, NOT met</a></td>"));
    EXPECT_TRUE(Read(dir.filePath("second-html/unit1-high-band.html")).contains("<h2>Try 1 of 2: passed, NOT met ("));

    const StationRun_T history = RunStation({"history", "VQL4K-0007", "--db", db});
    const QString table = QString::fromUtf8(history.output.mid(history.output.lastIndexOf("\n\n") + 2));
    EXPECT_EQ(table.toStdString(),
              Lines({"  STEP                   VERDICT    MET  MEASURED      VALUE      LOW  HIGH  MET",
                     "  firmware               passed     yes  verdict       passed     -    -     yes",
                     "  high-band, try 1 of 2  passed     NO   verdict       passed     -    -     yes",
                     "                                         peak from 32  199        200  215   NO",
                     "  high-band, try 2 of 2  passed     yes  verdict       passed     -    -     yes",
                     "                                         peak from 32  202        200  215   yes",
                     "  low-band               passed     yes  verdict       passed     -    -     yes",
                     "                                         peak from 64  202        200  215   yes",
                     "  board-reading          performed  yes  verdict       performed  -    -     yes",
                     "                                         reading       500        362  617   yes"}) +
                  "\n");
    for (const QString& name : {QString("first"), QString("second")})
    {
        const QString sessionRun =
            RowList(db, QString("SELECT id FROM runs ORDER BY started%1").arg(name == "first" ? "" : " DESC")).value(0);
        ExpectExportMatches(db, sessionRun, dir.path(), name);
    }
}

// A unit runs an end-of-line plan only when its latest cor.txt run passed; an
// interlock that cannot be checked refuses the whole plan.
TEST(PlanFlow, ARequiredPlanHoldsBackUnitsWhoseLatestRunDidNotPass)
{
    QTemporaryDir dir;
    const QString db = dir.filePath("results.db");
    const QString eol = PlanFile("ql4k-eol.txt");
    for (const QString& target : {QString("none"), db})
    {
        const StationRun_T refused = RunStation({"run", eol, "--lot", "ql4k:1:15", "--db", target});
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_EQ(refused.errors.toStdString(), (eol + ":6: requires cor.txt, " +
                                                 (target == "none" ? QString("which cannot be checked with --db none")
                                                                   : QString("of which %1 holds no run").arg(db)) +
                                                 "\n")
                                                    .toStdString());
    }
    EXPECT_EQ(Rows(db, "SELECT COUNT(*) FROM sessions"), "0");
    ASSERT_EQ(RunStation({"run", PlanFile("cor.txt"), "--lot", "ql4k:2:15", "--db", db}).exitCode, 1);
    const StationRun_T run = RunStation(QStringList{"run", eol, "--lot", "ql4k:3:15", "-j", "1", "--db", db} +
                                        ResultArguments(dir.path(), "eol"));
    EXPECT_EQ(run.exitCode, 1);
    const QStringList failed = RowList(db, "SELECT id FROM runs WHERE serial = 'VQL4K-0016' AND plan_name = 'cor.txt'");
    ASSERT_EQ(failed.size(), 1);
    const QJsonArray runs =
        QJsonDocument::fromJson(RunStation({"history", "VQL4K-0016", "--db", db, "--json"}).output)["runs"].toArray();
    const QString ended = QDateTime::fromString(runs.first()["end"].toString(), Qt::ISODateWithMs)
                              .toUTC()
                              .toString("yyyy-MM-dd HH:mm:ss 'UTC'");
    const QString why16 =
        "not run: requires cor.txt, whose latest run on this unit failed on " + ended + " (run " + failed.first() + ")";
    const QString why17 = "not run: requires cor.txt, never run on this unit";
    QStringList expected = {"ql4k#15 firmware: passed, met (T s)",
                            "ql4k#15 high-band: passed, met (T s), try 1 of 3",
                            "ql4k#15 low-band: passed, met (T s), try 1 of 3",
                            "ql4k#15 board-reading: performed, met (T s)",
                            "ql4k#16: " + why16,
                            "ql4k#17: " + why17,
                            "ql4k#15: met, 4 steps",
                            "ql4k#16, serial VQL4K-0016: NOT MET, 4 steps not run",
                            "ql4k#17, serial VQL4K-0017: NOT MET, 4 steps not run",
                            "3 units, 12 steps: 4 met, 0 not met, 8 not run (T s, -j 1)"};
    EXPECT_EQ(Lines(TimelessLines(run.errors).mid(0, expected.size())), Lines(expected));
    EXPECT_EQ(Rows(db, "SELECT r.unit, r.result, r.met, r.unit_error, GROUP_CONCAT(s.verdict, ',') FROM runs r JOIN "
                       "steps s ON s.run_id = r.id WHERE r.plan_name = 'ql4k-eol.txt' GROUP BY r.id ORDER BY r.slot"),
              Lines({"ql4k#15|passed|1||passed,passed,passed,performed",
                     "ql4k#16|aborted|0|" + why16 + "|not-run,not-run,not-run,not-run",
                     "ql4k#17|aborted|0|" + why17 + "|not-run,not-run,not-run,not-run"}));
    const QByteArray junit = Read(dir.filePath("eol.xml"));
    EXPECT_TRUE(junit.contains("<testcase classname=\"ql4k#17\" name=\"requires\" time=\"0.000\">\n"
                               "            <error type=\"requires\" message=\"" +
                               why17.toUtf8() + "\">" + why17.toUtf8() +
                               "</error>\n"
                               "        </testcase>\n"
                               "        <testcase classname=\"ql4k#17\" name=\"firmware\" time=\"0.000\">\n"
                               "            <skipped message=\"" +
                               why17.toUtf8() + "\"/>\n"));
    ExpectValidJunit(dir.filePath("eol.xml"));
    ExpectExportMatches(db, RowList(db, "SELECT id FROM runs WHERE serial = 'VQL4K-0017'").value(0), dir.path(), "eol");
    // Passed since: unit 16's latest cor.txt run is what counts.
    ASSERT_TRUE(WriteFile(dir.filePath("cor.txt"), "step pin sensepin\n"));
    ASSERT_EQ(RunStation({"run", dir.filePath("cor.txt"), "--lot", "ql4k:1:16", "--db", db}).exitCode, 0);
    const StationRun_T again = RunStation({"run", eol, "--lot", "ql4k:1:16", "--db", db});
    EXPECT_EQ(again.exitCode, 1) << again.errors.toStdString();
    EXPECT_TRUE(again.errors.contains(
        "ql4k#16, serial VQL4K-0016: NOT MET, 1 of 4 steps not met: high-band, 1 skipped; first unmet"))
        << again.errors.toStdString();
}
