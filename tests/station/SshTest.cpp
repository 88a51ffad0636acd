// A plan over ssh: a real OpenSSH server on 127.0.0.1, key-only login, whose
// forced command runs the requested sonarbench command in a virtual unit.
#include "StationProcess.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
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
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

TEST(Ssh, APlanRunsOnAUnitReachedOverSsh)
{
    if (!QFile::exists(c_Sshd) || QStandardPaths::findExecutable("ssh").isEmpty())
        GTEST_SKIP() << "OpenSSH not installed (" << c_Sshd << " and ssh; Debian openssh-server, openssh-client): "
                     << "the ssh round trip is NOT tested";
    QTemporaryDir dir;
    const QString d = dir.path();
    ASSERT_TRUE(KeyGen(d + "/host") && KeyGen(d + "/client"));
    const QFile::Permissions script = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                      QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    // The unit's side: what the station sent is "cd /corvane/Test && ./sonarbench ARGS", quoted for a shell.
    ASSERT_TRUE(Write(d + "/unit.sh",
                      QByteArray("#!/bin/sh\ncase \"$SSH_ORIGINAL_COMMAND\" in\n"
                                 "'cd /corvane/Test && ./sonarbench'*) ;;\n*) echo refused >&2; exit 1 ;;\nesac\n"
                                 "eval \"set -- ${SSH_ORIGINAL_COMMAND#cd /corvane/Test && ./sonarbench}\"\n"
                                 "exec ") +
                          VUNIT_BINARY + " varrow \"$@\"\n",
                      script));
    ASSERT_TRUE(Write(d + "/authorized_keys", Read(d + "/client.pub"), QFile::ReadOwner | QFile::WriteOwner));
    const int port = ConnectOrBind(0, true);
    ASSERT_GT(port, 0);
    const QByteArray config = QString("Port %1\nListenAddress 127.0.0.1\nHostKey %2/host\nPidFile %2/sshd.pid\n"
                                      "AuthorizedKeysFile %2/authorized_keys\nPasswordAuthentication no\n"
                                      "KbdInteractiveAuthentication no\nPubkeyAuthentication yes\nUsePAM no\n"
                                      "StrictModes no\nPermitRootLogin prohibit-password\nForceCommand %2/unit.sh\n")
                                  .arg(port)
                                  .arg(d)
                                  .toUtf8();
    ASSERT_TRUE(Write(d + "/sshd_config", config, QFile::ReadOwner | QFile::WriteOwner));
    if (geteuid() == 0)
        QProcess::execute("mkdir", {"-p", "-m", "0755", "/run/sshd"});  // its privilege separation folder
    QProcess sshd;
    sshd.setProcessChannelMode(QProcess::MergedChannels);
    sshd.start(c_Sshd, {"-D", "-e", "-f", d + "/sshd_config"});
    ASSERT_TRUE(sshd.waitForStarted());
    for (int i = 0; i < 100 && ConnectOrBind(port, false) != 0 && sshd.state() == QProcess::Running; ++i)
        QThread::msleep(50);

    const QByteArray known = "[127.0.0.1]:" + QByteArray::number(port) + " " + Read(d + "/host.pub");
    ASSERT_TRUE(Write(d + "/known_hosts", known, QFile::ReadOwner | QFile::WriteOwner));
    ASSERT_TRUE(
        Write(d + "/ssh_config",
              QString("Host *\n  IdentityFile %1/client\n  IdentitiesOnly yes\n  UserKnownHostsFile %1/known_hosts\n"
                      "  StrictHostKeyChecking yes\n  LogLevel ERROR\n")
                  .arg(d)
                  .toUtf8(),
              QFile::ReadOwner | QFile::WriteOwner));
    QFile plan(d + "/plan.txt");
    ASSERT_TRUE(plan.open(QIODevice::WriteOnly));
    plan.write(Read(PlanFile("uart.txt")) + "\nstep quoted sensepin it's a;b\n");
    plan.close();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SONARSTATION_SSH_CONFIG", d + "/ssh_config");
    const QString user = QString::fromLocal8Bit(getpwuid(geteuid())->pw_name);
    const StationRun_T run = RunStation(
        {"run", plan.fileName(), "--ssh", QString("%1@127.0.0.1:%2").arg(user).arg(port), "--json", d + "/r.json"},
        environment);
    sshd.terminate();
    sshd.waitForFinished();

    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString() << sshd.readAll().toStdString();
    const QJsonObject unit = ReadJson(d + "/r.json")["units"][0].toObject();
    EXPECT_EQ(unit["unit"].toString(), "ssh:127.0.0.1");
    EXPECT_TRUE(unit["met"].toBool());
    const QJsonArray steps = unit["steps"].toArray();
    ASSERT_EQ(steps.size(), 5);
    EXPECT_TRUE(steps[2]["report"].toString().contains("\n./sonarbench ping 200000 210000 10 45 0 high \n"));
    EXPECT_EQ(steps[2]["samples"][0].toArray().size(), 993);
    EXPECT_TRUE(steps[4]["report"].toString().contains("\n./sonarbench sensepin it's a;b \n"));
}

// A closed port on this machine: ssh gives up at once. The unit's name goes
// through the station's ssh config, as its steps' would.
TEST(Ssh, AnUnreachableUnitIsReportedOnceAndItsStepsAreNotRun)
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
    QElapsedTimer timer;
    timer.start();
    const StationRun_T run = RunStation({"run", plan.fileName(), "--ssh", QString("bench-unit:%1").arg(port), "--unit",
                                         "varrow", "-j1", "--json", d + "/r.json", "--junit", d + "/r.xml"},
                                        environment);
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_EQ(run.exitCode, 1);
    const QString refused = QString("ssh: connect to host 127.0.0.1 port %1: Connection refused").arg(port);
    EXPECT_EQ(TimelessLines(run.errors).join('\n').toStdString(),
              QStringList({"ssh:bench-unit: unreachable, 2 steps not run (" + refused + ")",
                           "varrow volts: performed, met (T s)",
                           "varrow temperature: performed, NOT MET: reading expected 0..100, measured 1650 (T s)",
                           "ssh:bench-unit: unreachable, 2 steps not run",
                           "varrow: NOT MET, 1 of 2 steps not met: temperature",
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
}
}
