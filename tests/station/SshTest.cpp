// A plan over ssh: a real OpenSSH server on 127.0.0.1, key-only login, whose
// forced command runs what the station sent in a folder that stands in for
// /corvane/Test, with a sonarbench there that runs a virtual unit.
#include "StationProcess.h"

#include "ResultsDb.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <arpa/inet.h>
#include <csignal>
#include <dirent.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace
{
const char* const c_Sshd = "/usr/sbin/sshd";

int ConnectOrBind(int port, bool bindIt)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const sockaddr* a = reinterpret_cast<const sockaddr*>(&address);
    int result = bindIt ? bind(fd, a, sizeof address) : connect(fd, a, sizeof address);
    if (result == 0 && bindIt)
    {
        socklen_t size = sizeof address;
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
        result = ntohs(address.sin_port);
    }
    close(fd);
    return result;
}

bool Write(const QString& path, const QByteArray& text, QFile::Permissions permissions)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.setPermissions(permissions);
}

bool KeyGen(const QString& path)
{
    return QProcess::execute("ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-C", "station-test", "-f", path}) == 0;
}

QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const QFile::Permissions c_Private = QFile::ReadOwner | QFile::WriteOwner;

// The stored runs and steps, a line each.
std::string StoredSteps(const QString& path)
{
    CResultsDb db;
    QString error;
    if (!db.Open(CDbTarget::Sqlite(path), error))
        return error.toStdString();
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "SELECT r.unit, r.is_virtual, r.serial_source, r.result, s.name, s.verdict FROM runs r JOIN steps s "
                 "ON s.run_id = r.id ORDER BY r.slot, s.step_index",
                 {}, error))
        return error.toStdString();
    QStringList rows;
    while (query.next())
    {
        QStringList columns;
        for (int i = 0; i < query.record().count(); ++i)
            columns << query.value(i).toString();
        rows << columns.join('|');
    }
    return rows.join('\n').toStdString();
}

// The processes whose command line holds TEXT, a line each.
QStringList ProcessesNaming(const QString& text)
{
    QStringList found;
    for (const QString& pid : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs))
    {
        QByteArray line = Read("/proc/" + pid + "/cmdline");
        if (line.contains(text.toLocal8Bit()))
            found << pid + ": " + QString::fromLocal8Bit(line.replace('\0', ' '));
    }
    return found;
}

// ROOT and everything it started, as a unit that goes off the network.
void KillTree(pid_t root)
{
    std::vector<pid_t> tree{root};
    for (size_t i = 0; i < tree.size(); ++i)
        for (const QString& pid : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs))
        {
            // "PID (NAME) STATE PPID ...": the name may hold blanks and parentheses.
            const QByteArray stat = Read("/proc/" + pid + "/stat");
            const QList<QByteArray> after = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
            if (after.size() > 1 && after[1].toInt() == tree[i])
                tree.push_back(pid.toInt());
        }
    for (const pid_t pid : tree)
        kill(pid, SIGKILL);
}

class Ssh : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override
    {
        m_Sshd.terminate();
        m_Sshd.waitForFinished();
    }
    // sonarstation run PLAN on the unit, whose sonarbench runs a virtual PROFILE.
    StationRun_T Station(const QString& profile, const QString& plan, const QStringList& more = {})
    {
        Write(d + "/profile", profile.toUtf8(), c_Private);
        return RunStation(QStringList{"run", plan, "--ssh", m_Target, "--json", d + "/r.json"} + more, m_Environment);
    }
    QStringList UnitFiles() const { return QDir(d + "/unit").entryList(QDir::Files | QDir::Hidden); }
    // The station's private folders of shared connections (its TMPDIR is d/run).
    QStringList ControlFolders() const { return QDir(d + "/run").entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
    // Logins the unit accepted: one per connection.
    int Logins() const { return Read(d + "/sshd.log").count("Accepted publickey for "); }
    // A plan that sends a table of its own: 512 samples instead of 200kHPShort.txt's 1024.
    QString OwnPlan(const char* steps)
    {
        QByteArray table = Read(QString(SIM_TABLES) + "/200kHPShort.txt");
        EXPECT_TRUE(table.contains("SetNumberOfSamplesToReceive( 1024);"));
        table.replace("SetNumberOfSamplesToReceive( 1024);", "SetNumberOfSamplesToReceive( 512);");
        QDir(d).mkpath("own/tables");
        Write(d + "/own/tables/shallow.txt", table, c_Private);
        Write(d + "/own/plan.txt", QByteArray("send tables/shallow.txt\n") + steps, c_Private);
        return d + "/own/plan.txt";
    }

    QTemporaryDir m_Dir;
    const QString d = m_Dir.path();
    QProcess m_Sshd;
    QProcessEnvironment m_Environment = QProcessEnvironment::systemEnvironment();
    QString m_Target;
};

void Ssh::SetUp()
{
    if (!QFile::exists(c_Sshd) || QStandardPaths::findExecutable("ssh").isEmpty())
        GTEST_SKIP() << "OpenSSH not installed (" << c_Sshd << " and ssh; Debian openssh-server, openssh-client): "
                     << "the ssh round trip is NOT tested";
    ASSERT_TRUE(KeyGen(d + "/host") && KeyGen(d + "/client"));
    const QFile::Permissions script = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                      QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    // The unit's side: its shell runs what the station sent ("cd /corvane/Test && ...") in d/unit,
    // whose sonarbench runs a virtual unit (the profile in d/profile) with the files beside it.
    ASSERT_TRUE(QDir(d).mkpath("unit") && QDir(d).mkpath("unit-tmp"));
    ASSERT_TRUE(Write(d + "/unit.sh",
                      QString("#!/bin/sh\ncase \"$SSH_ORIGINAL_COMMAND\" in\n'cd /corvane/Test && '*) ;;\n"
                              "*) echo refused >&2; exit 1 ;;\nesac\n"
                              "cd %1/unit && eval \"${SSH_ORIGINAL_COMMAND#cd /corvane/Test && }\"\n")
                          .arg(d)
                          .toUtf8(),
                      script));
    ASSERT_TRUE(Write(d + "/unit/sonarbench",
                      QString("#!/bin/sh\n[ \"$1\" = crash ] && exit 255\nbeside=\nfor f in *; do\n"
                              "  [ \"$f\" = sonarbench ] || beside=\"$beside --beside $PWD/$f=$f\"\ndone\n"
                              // A unit killed with its connection leaves its folder in the test's.
                              "TMPDIR=%2/unit-tmp exec %1 $beside $(cat %2/profile) \"$@\"\n")
                          .arg(VUNIT_BINARY, d)
                          .toUtf8(),
                      script));
    ASSERT_TRUE(Write(d + "/authorized_keys", Read(d + "/client.pub"), c_Private));
    const int port = ConnectOrBind(0, true);
    ASSERT_GT(port, 0);
    const QByteArray config = QString("Port %1\nListenAddress 127.0.0.1\nHostKey %2/host\nPidFile %2/sshd.pid\n"
                                      "AuthorizedKeysFile %2/authorized_keys\nPasswordAuthentication no\n"
                                      "KbdInteractiveAuthentication no\nPubkeyAuthentication yes\nUsePAM no\n"
                                      "StrictModes no\nPermitRootLogin prohibit-password\nForceCommand %2/unit.sh\n"
                                      // bash under sshd reads ~/.bashrc unless nested: not the unit's.
                                      "SetEnv SHLVL=1\n")
                                  .arg(port)
                                  .arg(d)
                                  .toUtf8();
    ASSERT_TRUE(Write(d + "/sshd_config", config, c_Private));
    if (geteuid() == 0)
        QProcess::execute("mkdir", {"-p", "-m", "0755", "/run/sshd"});  // its privilege separation folder
    m_Sshd.setProcessChannelMode(QProcess::MergedChannels);
    m_Sshd.start(c_Sshd, {"-D", "-E", d + "/sshd.log", "-f", d + "/sshd_config"});
    ASSERT_TRUE(m_Sshd.waitForStarted());
    for (int i = 0; i < 100 && ConnectOrBind(port, false) != 0 && m_Sshd.state() == QProcess::Running; ++i)
        QThread::msleep(50);

    const QByteArray known = "[127.0.0.1]:" + QByteArray::number(port) + " " + Read(d + "/host.pub");
    ASSERT_TRUE(Write(d + "/known_hosts", known, c_Private));
    ASSERT_TRUE(
        Write(d + "/ssh_config",
              QString("Host *\n  IdentityFile %1/client\n  IdentitiesOnly yes\n  UserKnownHostsFile %1/known_hosts\n"
                      "  StrictHostKeyChecking yes\n  LogLevel ERROR\n")
                  .arg(d)
                  .toUtf8(),
              c_Private));
    m_Environment.insert("SONARSTATION_SSH_CONFIG", d + "/ssh_config");
    ASSERT_TRUE(QDir(d).mkpath("run"));
    m_Environment.remove("XDG_RUNTIME_DIR");
    m_Environment.insert("TMPDIR", d + "/run");
    m_Target = QString("%1@127.0.0.1:%2").arg(QString::fromLocal8Bit(getpwuid(geteuid())->pw_name)).arg(port);
}

TEST_F(Ssh, APlanRunsOnAUnitReachedOverSsh)
{
    // A family plan, and arguments that need quoting on the unit's shell.
    ASSERT_TRUE(Write(d + "/plan.txt", Read(PlanFile("uart.txt")) + "\nstep quoted sensepin it's a;b\n", c_Private));
    const StationRun_T run = Station("varrow", d + "/plan.txt", {"--db", d + "/r.db"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString() << Read(d + "/sshd.log").toStdString();
    // The probe, the 5 steps and the connection's end: one login.
    EXPECT_EQ(Logins(), 1);
    EXPECT_EQ(ControlFolders(), QStringList());
    // The stand-in unit has no serial file.
    EXPECT_EQ(StoredSteps(d + "/r.db"), "ssh:127.0.0.1|0|missing|passed|battery|performed\n"
                                        "ssh:127.0.0.1|0|missing|passed|firmware|passed\n"
                                        "ssh:127.0.0.1|0|missing|passed|sonar-ping|passed\n"
                                        "ssh:127.0.0.1|0|missing|passed|lowscan-ping|passed\n"
                                        "ssh:127.0.0.1|0|missing|passed|quoted|performed");
    const QJsonObject unit = ReadJson(d + "/r.json")["units"][0].toObject();
    EXPECT_EQ(unit["unit"].toString(), "ssh:127.0.0.1");
    EXPECT_TRUE(unit["met"].toBool());
    const QJsonArray steps = unit["steps"].toArray();
    ASSERT_EQ(steps.size(), 5);
    EXPECT_TRUE(steps[2]["report"].toString().contains("\n./sonarbench ping 200000 210000 10 45 0 high \n"));
    EXPECT_EQ(steps[2]["samples"][0].toArray().size(), 993);
    EXPECT_TRUE(steps[4]["report"].toString().contains("\n./sonarbench sensepin it's a;b \n"));
    EXPECT_EQ(UnitFiles(), QStringList{"sonarbench"});
}

// The plan's own table is copied beside the program for the unit's steps, and
// removed after them: after a step over its time, and after a stop by a signal.
TEST_F(Ssh, ThePlansFilesAreOnTheUnitForItsStepsOnly)
{
    const QString plan = OwnPlan("step own xkping shallow.txt 0 1\nexpect samples 512\n"
                                 "expect peak-index 59..63 from 32\nstep slow speed 2\ntimeout 0.5\n");
    const StationRun_T run = Station("ql4k", plan);
    EXPECT_EQ(run.exitCode, 1) << run.errors.toStdString();
    const QJsonObject unit = ReadJson(d + "/r.json")["units"][0].toObject();
    const QJsonArray steps = unit["steps"].toArray();
    ASSERT_EQ(steps.size(), 2);
    EXPECT_TRUE(steps[0]["met"].toBool()) << steps[0]["report"].toString().toStdString();
    EXPECT_EQ(steps[0]["samples"][0].toArray().size(), 512);
    EXPECT_EQ(steps[1]["verdict"].toString(), "timeout");
    EXPECT_FALSE(unit.contains("error"));
    EXPECT_EQ(UnitFiles(), QStringList{"sonarbench"});

    QProcess stopped;
    stopped.setProcessEnvironment(StationEnvironment(m_Environment));
    stopped.start(SONARSTATION_BINARY, {"run", plan, "--ssh", m_Target});
    ASSERT_TRUE(stopped.waitForStarted());
    for (int i = 0; i < 400 && !QFile::exists(d + "/unit/shallow.txt"); ++i)
        QThread::msleep(25);
    EXPECT_TRUE(QFile::exists(d + "/unit/shallow.txt"));
    QThread::msleep(1500);
    // The unit's connection: a socket in a folder of the station's own, 0700.
    ASSERT_EQ(ControlFolders().size(), 1);
    const QString folder = d + "/run/" + ControlFolders()[0];
    struct stat status = {};
    ASSERT_EQ(stat(folder.toLocal8Bit().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
    EXPECT_EQ(QDir(folder).entryList(QDir::System), QStringList{"0"});
    EXPECT_EQ(ProcessesNaming(folder + "/0 [mux]").size(), 1) << ProcessesNaming(folder).join('\n').toStdString();
    kill(static_cast<pid_t>(stopped.processId()), SIGTERM);
    ASSERT_TRUE(stopped.waitForFinished(20000));
    EXPECT_EQ(stopped.exitCode(), 128 + SIGTERM) << stopped.readAllStandardError().toStdString();
    EXPECT_EQ(UnitFiles(), QStringList{"sonarbench"});
    // Its connection ended with it: no folder, no ssh left behind.
    EXPECT_EQ(ControlFolders(), QStringList());
    EXPECT_EQ(ProcessesNaming(folder).join('\n').toStdString(), "");
    EXPECT_EQ(Logins(), 2);
}

// The unit goes off the network during a step: that step is not met, the
// unit's later steps are not run and its run is aborted; the virtual unit
// beside it runs its plan as it would alone. A command that exits with
// ssh's own 255 is the command's failure, not a lost unit.
TEST_F(Ssh, AUnitLostMidPlanLeavesTheRestNotRunAndTheOtherUnitsAlone)
{
    ASSERT_TRUE(Write(d + "/plan.txt",
                      "step crash crash\nexpect verdict any\nstep volts batteryvoltage\nstep slow speed 4\n"
                      "expect verdict any\nstep temperature lcdtemperature\nstep again batteryvoltage\n",
                      c_Private));
    Write(d + "/profile", "varrow", c_Private);
    QProcess station;
    station.setProcessEnvironment(StationEnvironment(m_Environment));
    station.start(SONARSTATION_BINARY, {"run", d + "/plan.txt", "--ssh", m_Target, "--unit", "varrow", "-j2", "--db",
                                        d + "/r.db", "--json", d + "/r.json"});
    ASSERT_TRUE(station.waitForStarted());
    station.setReadChannel(QProcess::StandardError);
    QByteArray errors;
    for (int i = 0; i < 1200 && !errors.contains("ssh:127.0.0.1 volts:"); ++i)
        if (station.waitForReadyRead(50))
            errors += station.readAllStandardError();
    ASSERT_TRUE(errors.contains("ssh:127.0.0.1 volts:")) << errors.toStdString();
    QThread::msleep(500);
    KillTree(static_cast<pid_t>(m_Sshd.processId()));
    ASSERT_TRUE(station.waitForFinished(60000));
    errors += station.readAllStandardError();
    EXPECT_EQ(station.exitCode(), 1) << errors.toStdString();

    QStringList lines;
    for (const QString& line : TimelessLines(QString::fromLocal8Bit(errors)))
        if (line.startsWith("ssh:"))
            lines << line;
    const QString lost = "connection lost during step slow";
    EXPECT_EQ(lines.join('\n').toStdString(),
              QStringList({"ssh:127.0.0.1 crash: none, met (T s)", "ssh:127.0.0.1 volts: performed, met (T s)",
                           "ssh:127.0.0.1 slow: none, NOT MET (T s)",
                           "ssh:127.0.0.1: unreachable, 2 steps not run (" + lost + ")",
                           "ssh:127.0.0.1, no serial: unreachable, 2 steps not run"})
                  .join('\n')
                  .toStdString());
    EXPECT_EQ(StoredSteps(d + "/r.db"), "ssh:127.0.0.1|0|missing|aborted|crash|none\n"
                                        "ssh:127.0.0.1|0|missing|aborted|volts|performed\n"
                                        "ssh:127.0.0.1|0|missing|aborted|slow|none\n"
                                        "ssh:127.0.0.1|0|missing|aborted|temperature|not-run\n"
                                        "ssh:127.0.0.1|0|missing|aborted|again|not-run\n"
                                        "varrow|1|unit|passed|crash|unrecognised\n"
                                        "varrow|1|unit|passed|volts|performed\n"
                                        "varrow|1|unit|passed|slow|passed\n"
                                        "varrow|1|unit|passed|temperature|performed\n"
                                        "varrow|1|unit|passed|again|performed");
    EXPECT_EQ(ReadJson(d + "/r.json")["units"][0]["unreachable"].toString(), lost);
    EXPECT_EQ(Logins(), 1);
    EXPECT_EQ(ControlFolders(), QStringList());
    EXPECT_EQ(ProcessesNaming(d + "/run/").join('\n').toStdString(), "");
}

TEST_F(Ssh, AFileAlreadyOnTheUnitIsKeptAndItsStepsDoNotRun)
{
    const QString plan = OwnPlan("step own xkping shallow.txt 0 1\n");
    ASSERT_TRUE(Write(d + "/unit/shallow.txt", "the unit's own\n", c_Private));
    const StationRun_T run = Station("ql4k", plan, {"--junit", d + "/r.xml"});
    EXPECT_EQ(run.exitCode, 1);
    const QString why = "'shallow.txt' is already in /corvane/Test on the unit: the station does not replace a "
                        "unit's own file, so the unit's steps were not run";
    EXPECT_TRUE(run.errors.contains("ssh:127.0.0.1: " + why + "\n")) << run.errors.toStdString();
    const QJsonObject unit = ReadJson(d + "/r.json")["units"][0].toObject();
    EXPECT_EQ(unit["error"].toString(), why);
    EXPECT_EQ(unit["steps"].toArray().size(), 0);
    EXPECT_FALSE(unit["met"].toBool());
    EXPECT_EQ(Read(d + "/unit/shallow.txt"), "the unit's own\n");
    EXPECT_EQ(UnitFiles(), (QStringList{"shallow.txt", "sonarbench"}));
    const QString junit = Read(d + "/r.xml");
    EXPECT_TRUE(junit.contains("<testsuite name=\"ssh:127.0.0.1\" tests=\"1\" failures=\"0\" errors=\"1\""));
    EXPECT_TRUE(junit.contains("<testcase classname=\"ssh:127.0.0.1\" name=\"send\" time=\"0.000\">"));
}

// A closed port on this machine: ssh gives up at once. The unit's name goes
// through the station's ssh config, as its steps' would.
TEST(SshUnreachable, IsReportedOnceAndItsStepsAreNotRun)
{
    if (QStandardPaths::findExecutable("ssh").isEmpty())
        GTEST_SKIP() << "ssh not installed (Debian openssh-client): unreachable units are NOT tested";
    QTemporaryDir dir;
    const QString d = dir.path();
    const int port = ConnectOrBind(0, true);
    ASSERT_GT(port, 0);
    ASSERT_TRUE(
        Write(d + "/ssh_config", "Host bench-unit\n  HostName 127.0.0.1\n", QFile::ReadOwner | QFile::WriteOwner));
    QFile plan(d + "/plan.txt");
    ASSERT_TRUE(plan.open(QIODevice::WriteOnly));
    plan.write("step volts batteryvoltage\nstep temperature lcdtemperature\nexpect reading 0..100\n");
    plan.close();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SONARSTATION_SSH_CONFIG", d + "/ssh_config");
    const StationRun_T run =
        RunStation({"run", plan.fileName(), "--ssh", QString("bench-unit:%1").arg(port), "--unit", "varrow", "-j1",
                    "--json", d + "/r.json", "--junit", d + "/r.xml", "--db", d + "/r.db"},
                   environment);
    EXPECT_EQ(run.exitCode, 1);
    const QString refused = QString("ssh: connect to host 127.0.0.1 port %1: Connection refused").arg(port);
    EXPECT_EQ(TimelessLines(run.errors).join('\n').toStdString(),
              QStringList({"ssh:bench-unit: unreachable, 2 steps not run (" + refused + ")",
                           "varrow volts: performed, met (T s)",
                           "varrow temperature: performed, NOT MET: reading expected 0..100, measured 1650 (T s)",
                           "ssh:bench-unit, no serial: unreachable, 2 steps not run",
                           "varrow, serial 0412345678: NOT MET, 1 of 2 steps not met: temperature; first unmet: "
                           "temperature reading expected 0..100, measured 1650",
                           "2 units, 4 steps: 1 met, 1 not met, 2 not run (T s, -j 1)",
                           "JSON written to " + d + "/r.json", "JUnit written to " + d + "/r.xml"})
                  .join('\n')
                  .toStdString());

    const QJsonObject unit = ReadJson(d + "/r.json")["units"][0].toObject();
    EXPECT_EQ(unit["unreachable"].toString(), refused);
    EXPECT_FALSE(unit["met"].toBool());
    const QJsonArray steps = unit["steps"].toArray();
    ASSERT_EQ(steps.size(), 2);
    for (const QJsonValue step : steps)
    {
        EXPECT_EQ(step["verdict"].toString(), "not-run");
        EXPECT_FALSE(step["met"].toBool());
        EXPECT_EQ(step["expectations"].toArray(), QJsonArray());
    }
    EXPECT_EQ(steps[1]["name"].toString(), "temperature");

    const QString junit = QString::fromUtf8(Read(d + "/r.xml"));
    ExpectValidJunit(d + "/r.xml");
    EXPECT_TRUE(junit.contains("<testsuite name=\"ssh:bench-unit\" tests=\"2\" failures=\"0\" errors=\"0\" "
                               "skipped=\"2\" time=\"0.000\">"));
    EXPECT_EQ(junit.count("<skipped message=\"not run: ssh:bench-unit is unreachable: " + refused + "\"/>"), 2);
    // Stored as an aborted run whose steps did not run.
    EXPECT_EQ(StoredSteps(d + "/r.db"), "ssh:bench-unit|0|missing|aborted|volts|not-run\n"
                                        "ssh:bench-unit|0|missing|aborted|temperature|not-run\n"
                                        "varrow|1|unit|failed|volts|performed\n"
                                        "varrow|1|unit|failed|temperature|performed");
}
}
