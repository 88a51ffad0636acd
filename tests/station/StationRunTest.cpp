// sonarstation end to end: plans on virtual units, time limits, the result files.
#include "StationProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>

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

TEST(StationRun, AStepOverItsTimeIsStoppedAndTheUnitGoesOn)
{
    QTemporaryDir dir;
    QTemporaryDir tmp;
    const QString plan = WritePlan(dir, "step endless speed 0\ntimeout 1\nstep after batteryvoltage\n");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TMPDIR", tmp.path());
    QElapsedTimer timer;
    timer.start();
    const StationRun_T run = RunStation({"run", plan, "--unit", "ql4k", "--json", dir.filePath("r.json")}, environment);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_LT(timer.elapsed(), 8000);
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
    QProcess station;
    station.setProcessEnvironment(environment);
    station.start(SONARSTATION_BINARY, {"run", endless, "--unit", "ql4k", "--json", dir.filePath("s.json")});
    ASSERT_TRUE(station.waitForStarted());
    QThread::msleep(1500);
    kill(static_cast<pid_t>(station.processId()), SIGINT);
    ASSERT_TRUE(station.waitForFinished(10000));
    EXPECT_EQ(station.exitCode(), 130);
    const QJsonArray stopped = ReadJson(dir.filePath("s.json"))["units"][0]["steps"].toArray();
    ASSERT_EQ(stopped.size(), 1);
    EXPECT_EQ(stopped[0]["verdict"].toString(), "none");
    ExpectNothingLeftOf(tmp.path());
}

TEST(StationRun, UnitsRunAtTheSameTime)
{
    QTemporaryDir dir;
    const QString plan = WritePlan(dir, "step count speed 1\n");
    QElapsedTimer timer;
    timer.start();
    const StationRun_T run =
        RunStation({"run", plan, "-j4", "--unit", "ql4k", "--unit", "ql5k", "--unit", "ql6m", "--unit", "ql4k"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    // Each unit takes two seconds; one after the other would take eight.
    EXPECT_LT(timer.elapsed(), 6000);
    EXPECT_EQ(run.errors.count(": passed, met ("), 4);
}

TEST(StationRun, RefusesBadPlansAndCommandLinesBeforeRunningAnything)
{
    QTemporaryDir dir;
    const QString plan = WritePlan(dir, "step a sensepin\nexpect peak-index x\n");
    const StationRun_T bad = RunStation({"run", plan, "--unit", "varrow"});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_EQ(bad.errors.toStdString(),
              (plan + ":2: peak-index takes MIN..MAX or one whole number, not 'x'\n").toStdString());
    const QStringList good{"run", PlanFile("uart.txt")};
    for (const QStringList& arguments :
         {good, good + QStringList{"--unit"}, good + QStringList{"--unit", "a", "-j", "0"},
          good + QStringList{"--ssh", "a b"}, good + QStringList{"--unit", "a", "--x"},
          good + QStringList{"--unit", "a", "--vunit", "/nonexistent"}, QStringList{"go"}})
    {
        const StationRun_T run = RunStation(arguments);
        EXPECT_EQ(run.exitCode, 2) << arguments.join(' ').toStdString();
        EXPECT_TRUE(run.errors.contains("usage: sonarstation run PLAN")) << run.errors.toStdString();
    }
}
}
