// sonarstation end to end: plans on virtual units, time limits, the result files.
#include "StationProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace
{
QString WritePlan(const QTemporaryDir& dir, const char* text)
{
    QFile file(dir.filePath("plan.txt"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
    return file.fileName();
}

// The folder's names, one line each.
std::string Entries(const QString& folder)
{
    return QDir(folder)
        .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name)
        .join('\n')
        .toStdString();
}

std::string Lines(const QStringList& lines)
{
    return lines.join('\n').toStdString();
}

QString ReadText(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll());
}

// No unit folder under the private TMPDIR and no process that names it.
void ExpectNothingLeftOf(const QString& tmp)
{
    EXPECT_EQ(QDir(tmp).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs))
    {
        QFile file("/proc/" + pid + "/environ");
        if (pid.toInt() > 0 && file.open(QIODevice::ReadOnly))
        {
            EXPECT_FALSE(file.readAll().contains(tmp.toUtf8())) << "process " << pid.toStdString() << " left";
        }
    }
}

TEST(StationRun, EachFamilyPlanPassesOnItsVirtualUnits)
{
    QTemporaryDir dir;
    const struct
    {
        const char* plan;
        QStringList units;
    } runs[] = {{"uart.txt", {"varrow", "ql1a"}}, {"cor.txt", {"ql4k"}}, {"lumet.txt", {"lumetv1", "lumetv6"}}};
    for (const auto& run : runs)
    {
        QStringList arguments{"run", PlanFile(run.plan), "--json", dir.filePath("r.json")};
        for (const QString& unit : run.units)
            arguments << "--unit" << unit;
        const StationRun_T result = RunStation(arguments);
        EXPECT_EQ(result.exitCode, 0) << run.plan << result.errors.toStdString();
        const QJsonArray units = ReadJson(dir.filePath("r.json"))["units"].toArray();
        ASSERT_EQ(units.size(), run.units.size());
        for (const QJsonValue unit : units)
            EXPECT_TRUE(unit["met"].toBool()) << run.plan;
    }
}

// The virtual QL4K's bottom lies at 12 m of 100: magnitude 122 of 1024.
TEST(StationRun, TheBottomEchoLiesWhereTheUnitPutsIt)
{
    QTemporaryDir dir;
    const QString plan = WritePlan(dir, "step echo xkping 200kHPShort.txt 0 1\nexpect peak-index 0..1000 from 32\n");
    ASSERT_EQ(RunStation({"run", plan, "--unit", "ql4k", "--json", dir.filePath("r.json")}).exitCode, 0);
    const QJsonObject step = ReadJson(dir.filePath("r.json"))["units"][0]["steps"][0].toObject();
    EXPECT_EQ(step["expectations"][1]["measured"].toInt(), 1024 * 12 / 100);
    EXPECT_EQ(step["samples"][0].toArray().size(), 1024);
}

// A table of the plan's own lies beside the program with the build's tables:
// 512 samples put the bottom echo at 12 m of 100 at sample 61.
TEST(StationRun, APlanSendsATableOfItsOwnToAVirtualUnit)
{
    QTemporaryDir dir;
    QTemporaryDir tmp;
    QFile stock(QString(SIM_TABLES) + "/200kHPShort.txt");
    ASSERT_TRUE(stock.open(QIODevice::ReadOnly));
    QByteArray table = stock.readAll();
    ASSERT_TRUE(table.contains("SetNumberOfSamplesToReceive( 1024);"));
    table.replace("SetNumberOfSamplesToReceive( 1024);", "SetNumberOfSamplesToReceive( 512);");
    ASSERT_TRUE(QDir(dir.path()).mkpath("tables"));
    QFile own(dir.filePath("tables/shallow.txt"));
    ASSERT_TRUE(own.open(QIODevice::WriteOnly) && own.write(table) == table.size());
    own.close();
    const QString plan = WritePlan(dir, "send tables/shallow.txt\nstep own xkping shallow.txt 0 1\n"
                                        "expect errors 0\nexpect peak-index 0..1000 from 32\n"
                                        "step stock xkping 200kHPShort.txt 0 1\nexpect samples 1024\n");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TMPDIR", tmp.path());
    const StationRun_T run = RunStation({"run", plan, "--unit", "ql4k", "--json", dir.filePath("r.json")}, environment);
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QJsonArray steps = ReadJson(dir.filePath("r.json"))["units"][0]["steps"].toArray();
    ASSERT_EQ(steps.size(), 2);
    EXPECT_EQ(steps[0]["samples"][0].toArray().size(), 512);
    EXPECT_EQ(steps[0]["expectations"][1].toObject(),
              (QJsonObject{{"key", "errors"}, {"expected", "0"}, {"measured", 0}, {"met", true}}));
    EXPECT_EQ(steps[0]["expectations"][2]["measured"].toInt(), 512 * 12 / 100);
    EXPECT_TRUE(steps[1]["met"].toBool());
    ExpectNothingLeftOf(tmp.path());

    // A name the build's folder already has is not hidden: vunit refuses every step.
    QFile::copy(own.fileName(), dir.filePath("tables/50kLF.txt"));
    const QString shadow = WritePlan(dir, "send tables/50kLF.txt\nstep own xkping 50kLF.txt 0 1\n");
    EXPECT_EQ(RunStation({"run", shadow, "--unit", "ql4k", "--json", dir.filePath("r.json")}).exitCode, 1);
    const QJsonObject refused = ReadJson(dir.filePath("r.json"))["units"][0]["steps"][0].toObject();
    EXPECT_EQ(refused["verdict"].toString(), "none");
    EXPECT_TRUE(refused["stderr"].toString().endsWith(
        "=50kLF.txt': 50kLF.txt is already beside the program (it is not hidden)\n"))
        << refused["stderr"].toString().toStdString();
}

// A ping read that comes back short prints an ERROR line and still passes.
TEST(StationRun, ExpectErrorsCatchesAPassWithErrorLines)
{
    QTemporaryDir dir;
    QFile faulty(dir.filePath("vunit"));
    ASSERT_TRUE(faulty.open(QIODevice::WriteOnly));
    faulty.write(QByteArray("#!/bin/sh\nexec ") + VUNIT_BINARY + " --fault short-ping \"$@\"\n");
    faulty.close();
    faulty.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    const QString plan = WritePlan(dir, "step xk xkping 200kHPShort.txt 0 1\nexpect errors 0\n");
    const StationRun_T run =
        RunStation({"run", plan, "--unit", "ql4k", "--vunit", faulty.fileName(), "--json", dir.filePath("r.json")});
    EXPECT_EQ(run.exitCode, 1) << run.errors.toStdString();
    const QJsonObject step = ReadJson(dir.filePath("r.json"))["units"][0]["steps"][0].toObject();
    EXPECT_EQ(step["verdict"].toString(), "passed");
    EXPECT_EQ(step["errors"].toArray(), QJsonArray{"ERROR: Get ping failed with error code: 0."});
    EXPECT_EQ(step["expectations"][1].toObject(),
              (QJsonObject{{"key", "errors"}, {"expected", "0"}, {"measured", 1}, {"met", false}}));
}

bool WriteScript(const QString& path, const QByteArray& text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

TEST(StationRun, AStepOverItsTimeIsStoppedAndTheUnitGoesOn)
{
    QTemporaryDir dir;
    QTemporaryDir tmp;
    const QString plan = WritePlan(dir, "step endless speed 0\ntimeout 1\nstep after batteryvoltage\n");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TMPDIR", tmp.path());
    // An endless step that was not stopped would outlast RunStation's wait.
    const StationRun_T run = RunStation({"run", plan, "--unit", "ql4k", "--json", dir.filePath("r.json")}, environment);
    EXPECT_EQ(run.exitCode, 1);
    const QJsonArray steps = ReadJson(dir.filePath("r.json"))["units"][0]["steps"].toArray();
    ASSERT_EQ(steps.size(), 2);
    EXPECT_EQ(steps[0]["verdict"].toString(), "timeout");
    EXPECT_FALSE(steps[0]["met"].toBool());
    EXPECT_GE(steps[0]["seconds"].toDouble(), 1.0);
    EXPECT_FALSE(steps[0]["report"].toString().contains("Test Result:"));
    EXPECT_EQ(steps[1]["verdict"].toString(), "performed");
    EXPECT_TRUE(steps[1]["met"].toBool());

    ExpectNothingLeftOf(tmp.path());

    // Ctrl-C stops the running step the same way, writes what it has and ends.
    const QString endless = WritePlan(dir, "step endless speed 0\nstep after batteryvoltage\n");
    // The stop comes while the endless step runs: once its launcher started and its unit is there.
    const QString started = dir.filePath("endless-started");
    ASSERT_TRUE(WriteScript(dir.filePath("launcher"), "#!/bin/sh\ncase \"$*\" in *speed*) touch " + started.toUtf8() +
                                                          ";; esac\nexec " + VUNIT_BINARY + " \"$@\"\n"));
    QProcess station;
    station.setProcessEnvironment(StationEnvironment(environment));
    station.start(SONARSTATION_BINARY, {"run", endless, "--vunit", dir.filePath("launcher"), "--unit", "ql4k", "--json",
                                        dir.filePath("s.json")});
    ASSERT_TRUE(station.waitForStarted());
    for (int i = 0; i < 2400 && (!QFile::exists(started) || QDir(tmp.path()).isEmpty()); ++i)
        QThread::msleep(25);
    ASSERT_FALSE(QDir(tmp.path()).isEmpty()) << "the endless step's unit never appeared";
    kill(static_cast<pid_t>(station.processId()), SIGINT);
    ASSERT_TRUE(station.waitForFinished(10000));
    EXPECT_EQ(station.exitCode(), 130);
    EXPECT_EQ(Lines(TimelessLines(QString::fromUtf8(station.readAllStandardError()))),
              Lines({"ql4k endless: stopped, NOT MET: verdict expected passed or performed, measured stopped (T s)",
                     "ql4k, serial 0412345678: NOT MET, 1 of 2 steps not met: endless; stopped after 1 of 2 steps; "
                     "first unmet: endless verdict expected passed or performed, measured stopped",
                     "1 unit, 1 step: 0 met, 1 not met, 0 not run (T s, -j " +
                         QString::number(QThread::idealThreadCount()) + ")",
                     "JSON written to " + dir.filePath("s.json"), "sonarstation: stopped by signal 2"}));
    const QJsonArray stopped = ReadJson(dir.filePath("s.json"))["units"][0]["steps"].toArray();
    ASSERT_EQ(stopped.size(), 1);
    EXPECT_EQ(stopped[0]["verdict"].toString(), "stopped");
    ExpectNothingLeftOf(tmp.path());
}

// With -j4 four units run at once: each unit's launcher waits at a barrier
// until all four have started, which one at a time they never would.
TEST(StationRun, UnitsRunAtTheSameTime)
{
    QTemporaryDir dir;
    const QString d = dir.path();
    const QString plan = WritePlan(dir, "step count speed 1\n");
    ASSERT_TRUE(WriteScript(d + "/barrier", QByteArray("#!/bin/sh\n"
                                                       "[ \"$1\" = --list ] && exec ") +
                                                VUNIT_BINARY +
                                                " --list\n"
                                                "case \"$*\" in *speed*) ;; *) exec " +
                                                VUNIT_BINARY +
                                                " \"$@\";; esac\n"
                                                "touch \"$0.$$\"\n"
                                                "for i in $(seq 600); do\n"
                                                "  [ $(ls \"$0\".* | wc -l) -ge 4 ] && exec " +
                                                VUNIT_BINARY +
                                                " \"$@\"\n"
                                                "  sleep 0.1\n"
                                                "done\n"
                                                "echo 'alone at the barrier' >&2; exit 1\n"));
    const StationRun_T run = RunStation({"run", plan, "-j4", "--vunit", d + "/barrier", "--unit", "ql4k", "--unit",
                                         "ql5k", "--unit", "ql6m", "--unit", "ql4k"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.errors.count(": passed, met ("), 4) << run.errors.toStdString();
}

// Each refused with one line and exit 2, before any unit runs.
TEST(StationRun, RefusesMistakesBeforeRunningAnything)
{
    QTemporaryDir dir;
    const QString d = dir.path();
    const QString plan = WritePlan(dir, "step a sensepin\nexpect peak-index x\n");
    // A launcher of its own is asked for its profiles.
    ASSERT_TRUE(
        WriteScript(d + "/launcher", "#!/bin/sh\n[ \"$1\" = --list ] && printf 'alpha  A unit\\nbeta   B\\n'\n"));
    ASSERT_TRUE(QDir(d).mkpath("foreign/inside"));
    ASSERT_TRUE(QDir(d).mkpath("hidden"));
    QFile(d + "/hidden/.keep").open(QIODevice::WriteOnly);
    const QString good = PlanFile("uart.txt");
    const QStringList run{"run", good, "--unit", "varrow"};
    const struct
    {
        QStringList arguments;
        QString line;
    } cases[] = {
        {{"run", plan, "--unit", "varrow"},
         plan + ":2: peak-index takes MIN..MAX, MIN.., ..MAX or one whole number, not 'x'"},
        {{"run", good, "--unit", "varow"}, "sonarstation: --unit varow: no such profile; did you mean varrow?"},
        {{"run", good, "--unit", "varrow", "--unit", "qll4k"},
         "sonarstation: --unit qll4k: no such profile; did you mean ql4k?"},
        {{"run", good, "--unit", "VArrow"}, "sonarstation: --unit VArrow: no such profile; did you mean varrow?"},
        {{"run", good, "--unit", "lumetv7"},
         "sonarstation: --unit lumetv7: no such profile; did you mean lumetv1, lumetv2, lumetv3, lumetv4, lumetv5 "
         "or lumetv6?"},
        {{"run", good, "--unit", "zzzz"}, "sonarstation: --unit zzzz: no such profile; vunit --list lists them"},
        {{"run", good, "--vunit", d + "/launcher", "--unit", "alpah"},
         "sonarstation: --unit alpah: no such profile; did you mean alpha?"},
        {{"run", good, "--vunit", d + "/launcher", "--unit", "varrow"},
         "sonarstation: --unit varrow: no such profile; " + d + "/launcher --list lists them"},
        {run + QStringList{"-j", "0"}, "sonarstation: -j takes a whole number of units at once, 1 or more, not '0'"},
        {run + QStringList{"-jx"}, "sonarstation: -j takes a whole number of units at once, 1 or more, not 'x'"},
        {run + QStringList{"--json", d + "/none/r.json"},
         "sonarstation: --json " + d + "/none/r.json: there is no folder " + d + "/none"},
        {run + QStringList{"--json", d}, "sonarstation: --json " + d + ": is a folder; name a file"},
        {run + QStringList{"--junit", d + "/none/r.xml"},
         "sonarstation: --junit " + d + "/none/r.xml: there is no folder " + d + "/none"},
        {run + QStringList{"--report", plan}, "sonarstation: --report " + plan + ": is a file, not a folder"},
        {run + QStringList{"--report", d + "/foreign"},
         "sonarstation: --report " + d +
             "/foreign: holds files that are not a report of the station's; name a new or empty folder"},
        {run + QStringList{"--report", d + "/hidden"},
         "sonarstation: --report " + d +
             "/hidden: holds files that are not a report of the station's; name a new or empty folder"},
        {run + QStringList{"--report", "/proc/new"},
         "sonarstation: --report /proc/new: cannot write in /proc, where the report is built"},
        {{"run", good},
         "sonarstation: no unit given; name one with --unit, --ssh or --lot (sonarstation help prints the usage)"},
        {{"run", "--unit", "varrow"}, "sonarstation: no plan given (sonarstation help prints the usage)"},
        {{"run", good, "--unit"}, "sonarstation: --unit needs a value (sonarstation help prints the usage)"},
        {run + QStringList{"--x"}, "sonarstation: unexpected '--x' (sonarstation help prints the usage)"},
        {run + QStringList{"--ssh", "a b"}, "sonarstation: --ssh takes [USER@]HOST[:PORT], not 'a b'"},
        {run + QStringList{"--vunit", "/nonexistent"},
         "sonarstation: no virtual unit launcher at /nonexistent (name one with --vunit)"},
        {{"run", good, "--lot", "ql4x:2"}, "sonarstation: --lot ql4x: no such profile; did you mean ql4k?"},
        {run + QStringList{"--lot", "ql4k:0"},
         "sonarstation: --lot takes PROFILE:COUNT[:FIRST], units 1 to 9999, not 'ql4k:0'"},
        {run + QStringList{"--lot", "ql4k:2:9999"},
         "sonarstation: --lot takes PROFILE:COUNT[:FIRST], units 1 to 9999, not 'ql4k:2:9999'"},
        {run + QStringList{"--lot", "ql4k"},
         "sonarstation: --lot takes PROFILE:COUNT[:FIRST], units 1 to 9999, not 'ql4k'"},
        {{"run", good, "--serial", "S1", "--unit", "varrow"},
         "sonarstation: --serial follows the --unit or --ssh it belongs to, once (sonarstation help prints the usage)"},
        {{"run", good, "--lot", "ql4k:2", "--serial", "S1"},
         "sonarstation: --serial follows the --unit or --ssh it belongs to, once (sonarstation help prints the usage)"},
        {run + QStringList{"--serial", "S1", "--serial", "S2"},
         "sonarstation: --serial follows the --unit or --ssh it belongs to, once (sonarstation help prints the usage)"},
        {run + QStringList{"--db", "postgresql://ana:hunter2@db/results"},
         "sonarstation: --db: a password does not belong on the command line; libpq reads it from ~/.pgpass, "
         "PGPASSFILE or PGPASSWORD"},
        {{"go"},
         "sonarstation: unknown command 'go'; the commands are run, history, export, sync, yield, capability, control, "
         "dashboard, limits and help"},
        {{},
         "sonarstation: no command given; the commands are run, history, export, sync, yield, capability, control, "
         "dashboard, limits and help"},
        // Reading never makes a database.
        {{"history", "SN-1", "--db", d + "/results.db"},
         "sonarstation: results database " + d + "/results.db: there is no such file"},
        {{"export", "x", "--db", d + "/results.db", "--junit", d + "/r.xml"},
         "sonarstation: results database " + d + "/results.db: there is no such file"},
        {{"export", "x", "--db", "none", "--json", d + "/none/r.json"},
         "sonarstation: --json " + d + "/none/r.json: there is no folder " + d + "/none"},
        {{"export", "x", "--db", "none", "--json", "-"}, "sonarstation: --db none keeps no results to read"},
        {{"history", "--json"}, "sonarstation: no serial number given (sonarstation help prints the usage)"},
    };
    for (const auto& c : cases)
    {
        const StationRun_T result = RunStation(c.arguments);
        EXPECT_EQ(result.exitCode, 2) << c.arguments.join(' ').toStdString();
        EXPECT_EQ(result.errors.toStdString(), (c.line + "\n").toStdString());
        EXPECT_EQ(result.output, QByteArray());
    }
    // Nothing was written over or beside.
    EXPECT_EQ(Entries(d), Lines(QStringList{"foreign", "hidden", "launcher", "plan.txt"}));
    EXPECT_EQ(Entries(d + "/foreign"), Lines(QStringList{"inside"}));
}

TEST(StationRun, HelpPrintsTheUsage)
{
    const QString plan = PlanFile("uart.txt");
    for (const QStringList& arguments :
         {QStringList{"help"}, QStringList{"--help"}, QStringList{"-h"}, QStringList{"run", "--help"},
          QStringList{"run", "-h"}, QStringList{"run", plan, "--unit", "nonesuch", "-h"}})
    {
        const StationRun_T run = RunStation(arguments);
        EXPECT_EQ(run.exitCode, 0) << arguments.join(' ').toStdString();
        EXPECT_EQ(run.errors, QString());
        EXPECT_TRUE(run.output.startsWith("usage: sonarstation run PLAN [--unit PROFILE [--serial TEXT]]..."))
            << run.output.data();
        EXPECT_TRUE(run.output.contains("\n       sonarstation help\n"));
    }
}

TEST(StationRun, JsonGoesToStandardOutputAlone)
{
    QTemporaryDir dir;
    const QString plan = WritePlan(dir, "step volts batteryvoltage\nexpect reading 3012\n");
    const StationRun_T run = RunStation({"run", plan, "--unit", "varrow", "--json", "-"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    QJsonParseError error;
    const QJsonObject root = QJsonDocument::fromJson(run.output, &error).object();
    EXPECT_EQ(error.error, QJsonParseError::NoError) << run.output.data();
    EXPECT_EQ(root["units"][0]["steps"][0]["reading"].toDouble(), 3012);
    EXPECT_EQ(Lines(TimelessLines(run.errors)),
              Lines(QStringList{"varrow volts: performed, met (T s)", "varrow: met, 1 step",
                                "1 unit, 1 step: 1 met, 0 not met, 0 not run (T s, -j " +
                                    QString::number(QThread::idealThreadCount()) + ")",
                                "JSON written to standard output"}));
}

// "sonarstation run ... | head -1": the reader goes away after the first line.
TEST(StationRun, AClosedPipeDoesNotCostTheResultFiles)
{
    QTemporaryDir dir;
    const QString plan = WritePlan(dir, "step volts batteryvoltage\nstep temperature lcdtemperature\n");
    QProcess shell;
    shell.setProcessEnvironment(StationEnvironment(QProcessEnvironment::systemEnvironment()));
    shell.start("bash", {"-c", "\"$@\" 2>&1 | head -1; exit ${PIPESTATUS[0]}", "station", SONARSTATION_BINARY, "run",
                         plan, "--unit", "varrow", "--json", dir.filePath("r.json"), "--junit", dir.filePath("r.xml"),
                         "--report", dir.filePath("html")});
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 0);
    EXPECT_EQ(Lines(TimelessLines(QString::fromUtf8(shell.readAllStandardOutput()))),
              "varrow volts: performed, met (T s)");
    EXPECT_EQ(ReadJson(dir.filePath("r.json"))["units"][0]["steps"].toArray().size(), 2);
    EXPECT_TRUE(QFile::exists(dir.filePath("r.xml")));
    EXPECT_EQ(Entries(dir.filePath("html")),
              Lines(QStringList{".sonarstation-report", "index.html", "unit1-temperature.html", "unit1-volts.html"}));
}

// The second run's report replaces the first whole: none of the first's pages survive.
TEST(StationRun, AnEarlierReportIsReplacedWhole)
{
    QTemporaryDir dir;
    const QString plan = WritePlan(dir, "step volts batteryvoltage\n");
    const QString html = dir.filePath("html");
    ASSERT_EQ(RunStation({"run", plan, "--unit", "varrow", "--unit", "ql4k", "--report", html}).exitCode, 0);
    EXPECT_EQ(Entries(html),
              Lines(QStringList{".sonarstation-report", "index.html", "unit1-volts.html", "unit2-volts.html"}));
    const QString other = WritePlan(dir, "step temperature lcdtemperature\n");
    const StationRun_T second = RunStation({"run", other, "--unit", "ql4k", "--report", html});
    EXPECT_EQ(second.exitCode, 0) << second.errors.toStdString();
    EXPECT_EQ(Entries(html), Lines(QStringList{".sonarstation-report", "index.html", "unit1-temperature.html"}));
    EXPECT_TRUE(ReadText(html + "/index.html").contains("ql4k"));
    EXPECT_FALSE(ReadText(html + "/index.html").contains("varrow"));
    // Nothing of the swap is left beside it.
    EXPECT_EQ(Entries(dir.path()), Lines(QStringList{"html", "plan.txt"}));
}
}

// All a terminal got: the station run in a pseudo-terminal COLUMNS wide until it ends.
QByteArray RunOnTerminal(const QStringList& arguments, int columns, int& status)
{
    QList<QByteArray> words{SONARSTATION_BINARY};
    for (const QString& argument : arguments)
        words << argument.toLocal8Bit();
    QList<QByteArray> environment;
    for (const QString& variable : StationEnvironment(QProcessEnvironment::systemEnvironment()).toStringList())
        environment << variable.toLocal8Bit();
    std::vector<char*> argv, envp;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    for (QByteArray& variable : environment)
        envp.push_back(variable.data());
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    winsize size = {};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
    if (pid == 0)
    {
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    QByteArray seen;
    char buffer[4096];
    // The terminal's side reads EIO once the station and its children are gone.
    for (ssize_t got; pid > 0 && (got = read(terminal, buffer, sizeof buffer)) > 0;)
        seen.append(buffer, static_cast<int>(got));
    close(terminal);
    status = -1;
    if (pid > 0)
        waitpid(pid, &status, 0);
    return seen;
}

// On a terminal the progress is one line drawn over itself (back to its start,
// erased to its end) as steps finish and each second; other lines go above it.
TEST(StationRun, ATerminalSeesOneProgressLineRedrawnInPlace)
{
    QTemporaryDir dir;
    const QString plan =
        WritePlan(dir, "step count speed 2\nstep xk xkping 200kHPShort.txt 0 1\nexpect peak 250..255\n");
    int status = 0;
    const QByteArray seen = RunOnTerminal(
        {"run", plan, "--ssh", "127.0.0.1:1", "--unit", "ql4k", "--unit", "varrow", "-j1", "--db", "none"}, 100,
        status);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1) << seen.toStdString();
    // Each drawing once, whatever the clock showed; the clock goes on while a step runs.
    QString text = QString::fromLocal8Bit(seen).replace("\r\n", "\n");
    text.replace(QRegularExpression("\\([0-9]+\\.[0-9]{2} s"), "(T s");
    QStringList drawings;
    QString previous;
    bool ticked = false;
    for (const QString& drawing : text.split("\r\033[K"))
    {
        const QString timeless = QString(drawing).replace(QRegularExpression("failed, [0-9]+:[0-9]{2}"), "failed, T");
        if (!drawings.isEmpty() && drawings.last() == timeless)
            ticked = ticked || drawing != previous;
        else
            drawings << timeless;
        previous = drawing;
    }
    EXPECT_TRUE(ticked) << "the clock did not go on during a step of seconds";
    EXPECT_EQ(Lines(drawings),
              Lines({"", "0 of 3 units done, 0 of 6 steps, 0 failed, T",
                     "ssh:127.0.0.1: unreachable, 2 steps not run (ssh: connect to host 127.0.0.1 port 1: Connection "
                     "refused)\n",
                     "0 of 3 units done, 0 of 6 steps, 0 failed, T", "1 of 3 units done, 2 of 6 steps, 2 failed, T",
                     "1 of 3 units done, 3 of 6 steps, 2 failed, T", "1 of 3 units done, 4 of 6 steps, 3 failed, T",
                     "2 of 3 units done, 4 of 6 steps, 3 failed, T", "2 of 3 units done, 5 of 6 steps, 3 failed, T",
                     "2 of 3 units done, 6 of 6 steps, 4 failed, T", "3 of 3 units done, 6 of 6 steps, 4 failed, T",
                     "3 of 3 units done, 6 of 6 steps, 4 failed, T\n"
                     "ssh:127.0.0.1, no serial: unreachable, 2 steps not run\n"
                     "ql4k, serial 0412345678: NOT MET, 1 of 2 steps not met: xk; first unmet: xk peak expected "
                     "250..255, measured 247\n"
                     "varrow, serial 0412345678: NOT MET, 1 of 2 steps not met: xk; first unmet: xk verdict expected "
                     "passed or performed, measured failed\n"
                     "3 units, 6 steps: 2 met, 2 not met, 2 not run (T s, -j 1)\n"}));
}
