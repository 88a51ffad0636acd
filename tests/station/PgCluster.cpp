#include "PgCluster.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <pwd.h>
#include <unistd.h>

namespace
{
const char* const c_User = "nobody";

QString BinFolder()
{
    const QString configured = qEnvironmentVariable("SONARSTATION_PG_BIN");
    if (!configured.isEmpty())
        return configured;
    const QStringList versions = QDir("/usr/lib/postgresql").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& version : QStringList{"15"} + versions)
        if (QFileInfo(QString("/usr/lib/postgresql/%1/bin/initdb").arg(version)).isExecutable())
            return QString("/usr/lib/postgresql/%1/bin").arg(version);
    return QString();
}
}

CPgCluster::CPgCluster() : m_Folder(QDir::tempPath() + "/pgcluster-XXXXXX") {}

CPgCluster::~CPgCluster()
{
    Stop();
}

QString CPgCluster::Missing()
{
    if (BinFolder().isEmpty())
        return "PostgreSQL is not installed (no /usr/lib/postgresql/*/bin/initdb; SONARSTATION_PG_BIN names another "
               "folder)";
    if (geteuid() == 0 && !getpwnam(c_User))
        return QString("running as root, and there is no user '%1' to run PostgreSQL").arg(c_User);
    return QString();
}

bool CPgCluster::Run(const QString& program, const QStringList& arguments, QString& error) const
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    const QString path = BinFolder() + "/" + program;
    // PostgreSQL refuses to run as root.
    if (geteuid() == 0)
        process.start("runuser", QStringList{"-u", c_User, "--", path} + arguments);
    else
        process.start(path, arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
    {
        error = QString("%1 failed: %2").arg(program, QString::fromLocal8Bit(process.readAll()));
        return false;
    }
    return true;
}

bool CPgCluster::Create(QString& error)
{
    if (!m_Folder.isValid())
    {
        error = "no temporary folder";
        return false;
    }
    if (geteuid() == 0)
    {
        const passwd* user = getpwnam(c_User);
        if (!user || chown(qPrintable(m_Folder.path()), user->pw_uid, user->pw_gid) != 0)
        {
            error = "cannot hand the cluster's folder to " + QString(c_User);
            return false;
        }
    }
    if (!Run("initdb",
             {"-D", DataFolder(), "-U", "postgres", "-E", "UTF8", "--locale=C", "--no-sync", "--auth-local=trust",
              "--auth-host=reject"},
             error))
        return false;
    // The superuser needs no password; everyone else does.
    QFile hba(DataFolder() + "/pg_hba.conf");
    if (!hba.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        hba.write("local all postgres trust\nlocal all all scram-sha-256\n") < 0)
    {
        error = "cannot write pg_hba.conf";
        return false;
    }
    hba.close();
    return Start(error) && Sql("postgres",
                               {QString("CREATE ROLE station LOGIN PASSWORD '%1'").arg(Password()),
                                "CREATE DATABASE results OWNER station"},
                               error);
}

bool CPgCluster::Start(QString& error)
{
    const QString options = QString("-k %1 -c listen_addresses= -c fsync=off").arg(m_Folder.path());
    m_Running =
        Run("pg_ctl", {"-D", DataFolder(), "-l", m_Folder.path() + "/log", "-w", "-o", options, "start"}, error);
    if (m_Running)
        WatchForTheTestsEnd();
    return m_Running;
}

// A test process that is killed runs no destructor: a watcher stops the server
// and removes its folder once the process is gone.
void CPgCluster::WatchForTheTestsEnd() const
{
    QStringList stop{BinFolder() + "/pg_ctl", "-D", DataFolder(), "-m", "immediate", "-w", "stop"};
    if (geteuid() == 0)
        stop = QStringList{"runuser", "-u", c_User, "--"} + stop;
    QProcess::startDetached("sh", QStringList{"-c",
                                              "while [ -d /proc/$1 ]; do sleep 1; done; folder=$2; shift 2; "
                                              "\"$@\" >/dev/null 2>&1; rm -rf \"$folder\"",
                                              "pg-watch", QString::number(getpid()), m_Folder.path()} +
                                      stop);
}

void CPgCluster::Stop()
{
    QString error;
    if (m_Running)
        Run("pg_ctl", {"-D", DataFolder(), "-m", "immediate", "-w", "stop"}, error);
    m_Running = false;
}

bool CPgCluster::Sql(const QString& database, const QStringList& statements, QString& error)
{
    QStringList arguments = {"-X", "-q",       "-v", "ON_ERROR_STOP=1", "-h", m_Folder.path(),
                             "-U", "postgres", "-d", database};
    for (const QString& statement : statements)
        arguments << "-c" << statement;
    return Run("psql", arguments, error);
}

bool CPgCluster::CreateDatabase(const QString& name, QString& error)
{
    return Sql("postgres", {QString("CREATE DATABASE %1 OWNER station").arg(name)}, error);
}

QString CPgCluster::Url(const QString& database, const QString& user) const
{
    return QString("postgresql://%1@/%2?host=%3").arg(user, database, m_Folder.path());
}
