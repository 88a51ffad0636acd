// sonarstation run and sync with a results database, end to end: what a run
// stores, a killed station, several stations on one database, a server that
// goes away, bad databases and serial numbers, and a virtual production lot.
#include "PgCluster.h"
#include "StationProcess.h"

#include "DbTarget.h"
#include "ResultsDb.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QThread>

#include <set>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace TestDb;

namespace
{
const char* const c_TwoSteps = "step pin sensepin\nstep again sensepin\n";

// A launcher of nr2 units whose step "hold" waits SECONDS before it runs sensepin.
QString HoldingLauncher(const QString& folder, int seconds)
{
    const QString path = folder + "/holding-vunit";
    EXPECT_TRUE(
        WriteFile(path,
                  QString("#!/bin/sh\nfor a; do [ \"$a\" = hold ] && { sleep %1; exec %2 nr2 sensepin; }; done\n"
                          "exec %2 \"$@\"\n")
                      .arg(seconds)
                      .arg(VUNIT_BINARY)
                      .toUtf8(),
                  true));
    return path;
}

qlonglong Count(const QString& db, const QString& table)
{
    return RowList(db, "SELECT COUNT(*) FROM " + table).value(0).toLongLong();
}

// Waits up to 30 s until TABLE holds ROWS rows.
bool WaitForRows(const QString& db, const QString& table, qlonglong rows)
{
    QElapsedTimer timer;
    timer.start();
    while (Count(db, table) < rows)
    {
        if (timer.elapsed() > 30000)
            return false;
        QThread::msleep(50);
    }
    return true;
}

// Four stations at once, two units each, on DB: every row there once.
void FourStationsAtOnce(const QString& db, const QProcessEnvironment& environment)
{
    QTemporaryDir dir;
    ASSERT_TRUE(WriteFile(dir.filePath("plan.txt"), c_TwoSteps));
    QProcess stations[4];
    for (int i = 0; i < 4; ++i)
    {
        stations[i].setProcessEnvironment(StationEnvironment(environment));
        const QString serial = QString("S%1-").arg(i);
        stations[i].start(SONARSTATION_BINARY,
                          {"run", dir.filePath("plan.txt"), "--unit", "nr2", "--serial", serial + "1", "--unit", "nr2",
                           "--serial", serial + "2", "-j", "2", "--db", db});
    }
    for (QProcess& station : stations)
    {
        ASSERT_TRUE(station.waitForFinished(120000));
        const QString errors = QString::fromUtf8(station.readAllStandardError());
        EXPECT_EQ(station.exitCode(), 0) << errors.toStdString();
        EXPECT_FALSE(errors.contains("locked")) << errors.toStdString();
        EXPECT_FALSE(errors.contains("not stored")) << errors.toStdString();
    }
    EXPECT_EQ(Rows(db, "SELECT COUNT(*), COUNT(DISTINCT id), COUNT(ended) FROM sessions"), "4|4|4");
    EXPECT_EQ(Rows(db, "SELECT COUNT(*), COUNT(DISTINCT id), COUNT(DISTINCT session_id), COUNT(DISTINCT serial), "
                       "MAX(attempt) FROM runs WHERE result = 'passed' AND serial_source = 'operator'"),
              "8|8|4|8|1");
    EXPECT_EQ(Rows(db, "SELECT COUNT(*) FROM steps WHERE verdict = 'performed' AND met = 1"), "16");
}

TEST(StationDb, EveryRunIsStoredWithWhoWhereAndWhat)
{
    QTemporaryDir dir;
    const QString db = dir.filePath("results.db");
    const QString plan = dir.filePath("plan.txt");
    // The board reading of a QL4K; an Nr2 reads otherwise and fails.
    ASSERT_TRUE(WriteFile(plan, "step pin sensepin\nstep board lcdtemperature\nexpect reading 362..617\n"));
    const StationRun_T run = RunStation({"run",        plan,
                                         "--unit",     "nr2",
                                         "--unit",     "ql4k",
                                         "--serial",   "LABEL-1",
                                         "--db",       db,
                                         "--operator", "Ana",
                                         "-j",         "1",
                                         "--json",     dir.filePath("r.json"),
                                         "--junit",    dir.filePath("r.xml"),
                                         "--report",   dir.filePath("html")});
    ASSERT_EQ(run.exitCode, 1) << run.errors.toStdString();
    // The database is the one source of truth: an export gives back the run's own files, byte for byte.
    const QString runId = QString::fromStdString(Rows(db, "SELECT id FROM runs WHERE slot = 1"));
    ASSERT_EQ(RunStation({"export", runId, "--db", db, "--json", dir.filePath("e.json"), "--junit",
                          dir.filePath("e.xml"), "--report", dir.filePath("e-html")})
                  .exitCode,
              0);
    const QStringList pages = QDir(dir.filePath("html")).entryList(QDir::Files | QDir::Hidden);
    ASSERT_EQ(pages.size(), 1 + 1 + 2 * 2) << "marker, index, a page per step";
    EXPECT_EQ(QDir(dir.filePath("e-html")).entryList(QDir::Files | QDir::Hidden), pages);
    for (const auto& pair : std::vector<std::pair<QString, QString>>{{"r.json", "e.json"}, {"r.xml", "e.xml"}})
        EXPECT_EQ(Read(dir.filePath(pair.first)), Read(dir.filePath(pair.second))) << pair.first.toStdString();
    for (const QString& page : pages)
        EXPECT_EQ(Read(dir.filePath("html/" + page)), Read(dir.filePath("e-html/" + page))) << page.toStdString();
    // The board shows each unit under the serial it was tested as: the operator's label wins.
    EXPECT_TRUE(Read(dir.filePath("e-html/index.html"))
                    .contains("<div class=\"tile pass\"><div class=\"serial\">LABEL-1</div><div class=\"verdict\">"
                              "PASS</div><div class=\"unit\">ql4k</div></div>"));
    QFile file(plan);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString sha = QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex();
    EXPECT_EQ(Rows(db, "SELECT host, station_version, plan, plan_sha256, jobs, met FROM sessions"),
              Lines(QStringList{QSysInfo::machineHostName() + "|0.1|" + plan + "|" + sha + "|1|0"}));
    EXPECT_EQ(
        Rows(db, "SELECT slot, unit, is_virtual, serial, serial_source, product, application_version, "
                 "platform_version, product_identification, operator_name, plan_name, plan_sha256, attempt, "
                 "result, met, ended > started FROM runs ORDER BY slot"),
        Lines(QStringList({"0|nr2|1|0412345678|unit|Nr2|2.14.0|1.8.3|"
                           "{\"/sys/devices/platform/pelion/product_id\":\"NR2\\n\"}|Ana|plan.txt|" +
                               sha + "|1|failed|0|1",
                           "1|ql4k|1|LABEL-1|operator|QL4K|2.14.0|1.8.3|"
                           "{\"/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw\":\"500\\n\","
                           "\"/sys/devices/platform/varrow/product_id\":\"QL3B\\n\"}|Ana|plan.txt|" +
                               sha + "|1|passed|1|1"})));
    // Run ids are UUIDs; a second run of the same serial is its second attempt.
    EXPECT_EQ(Rows(db, "SELECT COUNT(*) FROM runs WHERE length(id) = 36"), "2");
    ASSERT_EQ(RunStation({"run", plan, "--unit", "nr2", "--db", db}).exitCode, 1);
    EXPECT_EQ(Rows(db, "SELECT attempt, operator_name = '' FROM runs WHERE slot = 0 ORDER BY started"),
              Lines(QStringList({"1|0", "2|0"})));
    // Each step's report is there whole.
    EXPECT_EQ(
        Rows(db, "SELECT COUNT(*) FROM steps WHERE CAST(report AS TEXT) LIKE '%Test Result: Operation Performed.%'"),
        "6");

    // --db none stores nothing; the default database lies where the environment says.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SONARSTATION_DB", dir.filePath("default.db"));
    ASSERT_EQ(RunStation({"run", plan, "--unit", "ql4k", "--db", "none"}, environment).exitCode, 0);
    EXPECT_FALSE(QFile::exists(dir.filePath("default.db")));
    ASSERT_EQ(RunStation({"run", plan, "--unit", "ql4k"}, environment).exitCode, 0);
    EXPECT_EQ(Count(dir.filePath("default.db"), "runs"), 1);
}

TEST(StationDb, AStationKilledMidPlanLeavesTheRunAbortedWithItsFinishedSteps)
{
    QTemporaryDir dir;
    const QString db = dir.filePath("results.db");
    ASSERT_TRUE(WriteFile(dir.filePath("plan.txt"), "step pin sensepin\nstep hold hold\nstep after sensepin\n"));
    QProcess station;
    station.setProcessEnvironment(StationEnvironment(QProcessEnvironment::systemEnvironment()));
    station.start(SONARSTATION_BINARY, {"run", dir.filePath("plan.txt"), "--unit", "nr2", "--db", db, "--vunit",
                                        HoldingLauncher(dir.path(), 3)});
    ASSERT_TRUE(WaitForRows(db, "steps", 1));
    station.kill();
    ASSERT_TRUE(station.waitForFinished());
    EXPECT_EQ(Rows(db, "SELECT result, ended, met FROM runs"), "aborted|NULL|0");
    EXPECT_EQ(Rows(db, "SELECT step_index, name, verdict, met FROM steps"), "0|pin|performed|1");
    EXPECT_EQ(Rows(db, "SELECT ended FROM sessions"), "NULL");
}

TEST(StationDb, FourStationsAtOnceShareOneSqliteFile)
{
    QTemporaryDir dir;
    FourStationsAtOnce(dir.filePath("shared.db"), QProcessEnvironment::systemEnvironment());
}

// Serial numbers that are outside input, from the unit's file and from the operator.
TEST(StationDb, OddSerialsAreStoredVerbatimAndBreakNoResultFile)
{
    QTemporaryDir dir;
    const QString d = dir.path();
    const QString db = d + "/results.db";
    const QByteArray drop = "'; DROP TABLE runs; --";
    const QByteArray lines = "SN-1\nSN-2";
    const QByteArray longSerial = QByteArray(10240, 'S');
    const QByteArray notText("\xff\xfe\xc3(SN", 6);
    // The unit's file gets them through the launcher, chosen by profile.
    const std::pair<const char*, QByteArray> units[] = {
        {"nr1", drop}, {"nr2", lines}, {"nr3", longSerial}, {"lumetv1", notText}};
    QString launcher = "#!/bin/sh\nfor a; do case $a in nr1|nr2|nr3|lumetv1) p=$a ;; esac; done\n"
                       "[ -z \"$p\" ] && exec " VUNIT_BINARY " \"$@\"\n"
                       "exec " VUNIT_BINARY " --serial \"$(cat " +
                       d + "/$p)\" \"$@\"\n";
    ASSERT_TRUE(WriteFile(d + "/launcher", launcher.toUtf8(), true));
    QStringList arguments{"run",    PlanFile("lumet.txt"), "--vunit", d + "/launcher", "--db",     db,
                          "--json", d + "/r.json",         "--junit", d + "/r.xml",    "--report", d + "/html"};
    for (const auto& unit : units)
    {
        ASSERT_TRUE(WriteFile(d + "/" + unit.first, unit.second));
        arguments << "--unit" << unit.first;
    }
    arguments << "--unit"
              << "nr2"
              << "--serial" << drop << "--unit"
              << "nr2"
              << "--serial" << lines;
    // A command line argument that is not UTF-8 needs a shell to give it.
    QProcess station;
    station.setProcessEnvironment(StationEnvironment(QProcessEnvironment::systemEnvironment()));
    station.start("sh", QStringList{"-c", "exec \"$@\" --unit nr2 --serial \"$(printf '\\377\\376op')\"", "sh",
                                    SONARSTATION_BINARY} +
                            arguments);
    ASSERT_TRUE(station.waitForFinished(60000));
    const QString errors = QString::fromUtf8(station.readAllStandardError());
    ASSERT_NE(station.exitCode(), 2) << errors.toStdString();
    EXPECT_FALSE(errors.contains("not stored")) << errors.toStdString();

    CResultsDb results;
    QString error;
    ASSERT_TRUE(results.Open(Target(db), error)) << error.toStdString();
    QSqlQuery query(results.Connection());
    ASSERT_TRUE(results.Exec(query, "SELECT serial_bytes, serial_source FROM runs ORDER BY slot", {}, error));
    std::vector<std::pair<QByteArray, QString>> stored;
    while (query.next())
        stored.emplace_back(query.value(0).toByteArray(), query.value(1).toString());
    const std::vector<std::pair<QByteArray, QString>> expected = {
        {drop, "unit"},     {lines, "unit"},     {longSerial, "unit"},      {notText, "unit"},
        {drop, "operator"}, {lines, "operator"}, {"\xff\xfeop", "operator"}};
    EXPECT_EQ(stored, expected);
    // The unit data of a failed run shows the unit's serial; every file stays whole.
    QFile json(d + "/r.json");
    ASSERT_TRUE(json.open(QIODevice::ReadOnly));
    QJsonParseError parsed;
    const QJsonDocument document = QJsonDocument::fromJson(json.readAll(), &parsed);
    ASSERT_EQ(parsed.error, QJsonParseError::NoError);
    EXPECT_EQ(document.object()["units"].toArray().size(), 7);
    ExpectValidJunit(d + "/r.xml");
    EXPECT_TRUE(QFile::exists(d + "/html/index.html"));
}

// A one-line message naming the database, exit 2, and no unit run; LAUNCH runs the station.
void ExpectRefusal(const QStringList& launch, const QString& db, const QProcessEnvironment& environment,
                   const QString& forbidden = QString())
{
    QTemporaryDir dir;
    ASSERT_TRUE(WriteFile(dir.filePath("plan.txt"), c_TwoSteps));
    QProcess process;
    process.setProcessEnvironment(StationEnvironment(environment));
    process.start(launch.first(), launch.mid(1) + QStringList{SONARSTATION_BINARY, "run", dir.filePath("plan.txt"),
                                                              "--unit", "nr2", "--db", db});
    ASSERT_TRUE(process.waitForFinished(60000));
    const QString errors = QString::fromUtf8(process.readAllStandardError());
    if (process.exitCode() == 77)
        GTEST_SKIP() << "skipped: no mounts of our own here: " << errors.toStdString();
    EXPECT_EQ(process.exitCode(), 2) << errors.toStdString();
    EXPECT_TRUE(errors.startsWith("sonarstation: results database " + Target(db).Display() + ": "))
        << errors.toStdString();
    EXPECT_EQ(errors.count('\n'), 1) << errors.toStdString();
    if (!forbidden.isEmpty())
    {
        EXPECT_FALSE(errors.contains(forbidden)) << errors.toStdString();
    }
}

TEST(StationDb, AFileThatIsNoDatabaseAReadOnlyOneOrAFullDiskStopBeforeAnyUnit)
{
    QTemporaryDir dir;
    const QString d = dir.path();
    ASSERT_TRUE(WriteFile(d + "/notes.txt", QByteArray(8192, 'n')));
    const QProcessEnvironment system = QProcessEnvironment::systemEnvironment();
    ExpectRefusal({"env"}, d + "/notes.txt", system);

    // The mounts are the launching shell's own: "unshare -m" (as root) or with a user namespace.
    ASSERT_TRUE(QDir(d).mkpath("ro") && QDir(d).mkpath("small"));
    {
        CResultsDb db;
        QString error;
        ASSERT_TRUE(db.Open(CDbTarget::Sqlite(d + "/ro/results.db"), error)) << error.toStdString();
    }
    const QStringList unshare{"unshare", geteuid() == 0 ? "-m" : "-rm", "sh", "-c"};
    ExpectRefusal(unshare + QStringList{"mount --bind \"$0\" \"$0\" && mount -o remount,bind,ro \"$0\" || exit 77; "
                                        "exec \"$@\"",
                                        d + "/ro"},
                  d + "/ro/results.db", system);
    ExpectRefusal(unshare + QStringList{"mount -t tmpfs -o size=256k tmpfs \"$0\" || exit 77; "
                                        "head -c 1000000 /dev/zero > \"$0/filler\" 2> /dev/null; exec \"$@\"",
                                        d + "/small"},
                  d + "/small/results.db", system);
}

TEST(StationDb, ALotOfTwentyShowsItsSpreadAndFailsItsDefectiveUnit)
{
    QTemporaryDir dir;
    const QString db = dir.filePath("lot.db");
    const StationRun_T run = RunStation({"run", PlanFile("cor.txt"), "--lot", "ql4k:20", "--db", db, "-j", "4"});
    EXPECT_EQ(run.exitCode, 1) << run.errors.toStdString();
    EXPECT_TRUE(run.errors.contains("ql4k#16, serial VQL4K-0016: NOT MET, 2 of 4 steps not met: high-band, "
                                    "low-band; first unmet: high-band peak from 32 expected 200..215, measured 137\n"))
        << run.errors.toStdString();
    QStringList expected;
    for (int n = 1; n <= 20; ++n)
        expected << QString("ql4k#%1|VQL4K-%2|1|QL4K|1|%3")
                        .arg(n)
                        .arg(n, 4, 10, QChar('0'))
                        .arg(n == 16 ? "failed" : "passed");
    EXPECT_EQ(Rows(db, "SELECT unit, serial, is_virtual, product, attempt, result FROM runs ORDER BY slot"),
              Lines(expected));
    // Each unit its own echo: peaks, bottom positions and noise differ from unit to unit.
    const QString spread = "SELECT COUNT(DISTINCT m.value) FROM measurements m JOIN steps s ON s.run_id = m.run_id AND "
                           "s.step_index = m.step_index WHERE s.name = '%1' AND m.expectation = '%2' AND "
                           "m.from_index = %3";
    EXPECT_GE(RowList(db, spread.arg("high-band", "peak", "32")).value(0).toInt(), 8);
    EXPECT_GE(RowList(db, spread.arg("low-band", "peak-index", "64")).value(0).toInt(), 3);
    EXPECT_GE(RowList(db, spread.arg("high-band", "mean", "0")).value(0).toInt(), 10);
    EXPECT_EQ(Rows(db, "SELECT r.unit, m.met FROM measurements m JOIN runs r ON r.id = m.run_id WHERE m.met = 0 AND "
                       "m.expectation = 'peak' ORDER BY m.step_index"),
              Lines(QStringList({"ql4k#16|0", "ql4k#16|0"})));
    // Limits learned from the lot's first passes keep its good units passing.
    const QString learned = dir.filePath("learned.txt");
    const StationRun_T limits = RunStation({"limits", PlanFile("cor.txt"), "--db", db, "--virtual", "--out", learned});
    ASSERT_EQ(limits.exitCode, 0) << limits.errors.toStdString();
    EXPECT_TRUE(limits.output.contains("20 unit(s) of plan cor.txt on a first attempt: FPY 95.0%, with all the new "
                                       "limits 95.0%\n"))
        << limits.output.toStdString();
    EXPECT_EQ(RunStation({"run", learned, "--lot", "ql4k:3:1", "--db", "none"}).exitCode, 0);
    // A retest of unit 7 is its second attempt, with other noise.
    ASSERT_EQ(RunStation({"run", PlanFile("cor.txt"), "--lot", "ql4k:1:7", "--db", db}).exitCode, 1);
    EXPECT_EQ(Rows(db, "SELECT attempt, result FROM runs WHERE serial = 'VQL4K-0007' ORDER BY attempt"),
              Lines(QStringList({"1|passed", "2|failed"})));
}

class StationDbServer : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const QString missing = CPgCluster::Missing();
        if (!missing.isEmpty())
            GTEST_SKIP() << "skipped: " << missing.toStdString();
        qputenv("PGPASSWORD", CPgCluster::Password());
        m_Environment.insert("PGPASSWORD", CPgCluster::Password());
        m_Environment.insert("XDG_DATA_HOME", m_Home.path());
        QString error;
        ASSERT_TRUE(m_Cluster.Create(error)) << error.toStdString();
    }
    void TearDown() override { qunsetenv("PGPASSWORD"); }

    QTemporaryDir m_Home;
    CPgCluster m_Cluster;
    QProcessEnvironment m_Environment = QProcessEnvironment::systemEnvironment();
};

TEST_F(StationDbServer, FourStationsAtOnceShareOneDatabase)
{
    FourStationsAtOnce(m_Cluster.Url(), m_Environment);
}

TEST_F(StationDbServer, WrongHostPasswordOrDatabaseStopBeforeAnyUnit)
{
    ExpectRefusal({"env"}, "postgresql://station@no-such-host.invalid/results", m_Environment);
    ExpectRefusal({"env"}, m_Cluster.Url("nothere"), m_Environment);
    QProcessEnvironment wrong = m_Environment;
    wrong.insert("PGPASSWORD", "wrong-secret");
    ExpectRefusal({"env"}, m_Cluster.Url(), wrong, "wrong-secret");
    EXPECT_FALSE(QFile::exists(m_Home.path() + "/sonarstation/spool.db"));
}

TEST_F(StationDbServer, AServerGoneDuringARunIsSpooledAndSyncMovesEachRunOnce)
{
    QTemporaryDir dir;
    const QString url = m_Cluster.Url();
    const QString plan = dir.filePath("plan.txt");
    ASSERT_TRUE(WriteFile(plan, "step pin sensepin\nstep hold hold\nstep after sensepin\n"));
    const QString spooled = "; results go to the spool " + m_Home.path() +
                            "/sonarstation/spool.db until sonarstation "
                            "sync moves them\n";
    // Gone after the first step.
    QProcess station;
    station.setProcessEnvironment(StationEnvironment(m_Environment));
    station.start(SONARSTATION_BINARY,
                  {"run", plan, "--unit", "nr2", "--db", url, "--vunit", HoldingLauncher(dir.path(), 2)});
    ASSERT_TRUE(WaitForRows(url, "steps", 1));
    m_Cluster.Stop();
    ASSERT_TRUE(station.waitForFinished(60000));
    const QString errors = QString::fromUtf8(station.readAllStandardError());
    EXPECT_EQ(station.exitCode(), 0) << errors.toStdString();
    EXPECT_TRUE(errors.contains(spooled)) << errors.toStdString();
    // Gone from the start.
    const StationRun_T offline = RunStation(
        {"run", plan, "--unit", "nr2", "--db", url, "--vunit", HoldingLauncher(dir.path(), 0)}, m_Environment);
    EXPECT_EQ(offline.exitCode, 0) << offline.errors.toStdString();
    EXPECT_TRUE(offline.errors.contains(spooled)) << offline.errors.toStdString();

    QString error;
    ASSERT_TRUE(m_Cluster.Start(error)) << error.toStdString();
    const QString display = Target(url).Display();
    for (const char* moved : {"2", "0"})
    {
        const StationRun_T sync = RunStation({"sync", "--db", url}, m_Environment);
        EXPECT_EQ(sync.exitCode, 0) << sync.errors.toStdString();
        EXPECT_EQ(sync.errors, QString("%1 spooled run(s) moved to %2\n").arg(moved, display));
    }
    EXPECT_EQ(Rows(url, "SELECT COUNT(*), COUNT(DISTINCT session_id) FROM runs WHERE result = 'passed' AND attempt "
                        "IN (1, 2) AND ended IS NOT NULL"),
              "2|2");
    EXPECT_EQ(Rows(url, "SELECT COUNT(*), COUNT(DISTINCT run_id) FROM steps"), "6|2");
    EXPECT_EQ(Rows(url, "SELECT COUNT(*) FROM sessions WHERE ended IS NOT NULL"), "2");
    EXPECT_EQ(Count(m_Home.path() + "/sonarstation/spool.db", "runs"), 0);
}
}
