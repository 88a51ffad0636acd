#include "ResultsDb.h"

#include "ResultsSchema.h"

#include <QAtomicInt>
#include <QDir>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{
QAtomicInt s_Connections;
const int c_BusyMilliseconds = 60000;
const int c_BusyRetries = 100;
// Any key will do: it only has to be the same on every station.
const int c_MigrationLock = 0x50be;

bool Busy(const QSqlError& error)
{
    const int code = error.nativeErrorCode().toInt() & 0xff;
    return code == 5 || code == 6;  // SQLITE_BUSY, SQLITE_LOCKED
}

QString Text(const QSqlError& error)
{
    const QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    return text.simplified();
}

// SQLite names a read-only or full file system only as a failure to open or to write.
QString FileSystemCause(const QString& path)
{
    const QFileInfo file(path);
    const QByteArray name = (file.exists() ? file.absoluteFilePath() : file.absolutePath()).toLocal8Bit();
    struct statvfs space;
    if (statvfs(name.constData(), &space) == 0 && space.f_bavail == 0)
        return QString(" (%1)").arg(strerror(ENOSPC));
    if (access(name.constData(), W_OK) != 0 && (errno == EROFS || errno == EACCES))
        return QString(" (%1)").arg(strerror(errno));
    return QString();
}

// What a server says when its name, user, password or database is wrong,
// rather than the server being out of reach for now.
bool Misconfigured(const QString& text)
{
    static const char* const c_Settings[] = {"could not translate host name",
                                             "authentication failed",
                                             "no password supplied",
                                             "does not exist",
                                             "pg_hba.conf",
                                             "invalid",
                                             "permission denied"};
    for (const char* setting : c_Settings)
        if (text.contains(setting, Qt::CaseInsensitive))
            return true;
    return false;
}
}

CResultsDb::CResultsDb() : m_Name(QString("results-%1").arg(s_Connections.fetchAndAddRelaxed(1))) {}

CResultsDb::~CResultsDb()
{
    Close();
}

void CResultsDb::Close()
{
    if (QSqlDatabase::contains(m_Name))
    {
        QSqlDatabase::database(m_Name, false).close();
        QSqlDatabase::removeDatabase(m_Name);
    }
    m_Open = false;
}

QString CResultsDb::Message(const QString& what) const
{
    return QString("results database %1: %2").arg(m_Target.Display(), what.simplified());
}

QString CResultsDb::Message(const QSqlError& error) const
{
    return Message(Text(error));
}

bool CResultsDb::Open(const CDbTarget& target, QString& error)
{
    Close();
    m_Target = target;
    m_Unreachable = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(Postgresql() ? "QPSQL" : "QSQLITE", m_Name);
        if (!db.isValid())
            error = Message(QString("this system lacks Qt's %1 driver").arg(Postgresql() ? "QPSQL" : "QSQLITE"));
        else
            m_Open = Postgresql() ? OpenPostgresql(db, error) : OpenSqlite(db, error);
    }
    m_Open = m_Open && Migrate(error);
    if (!m_Open && !Postgresql())
        error += FileSystemCause(target.Path());
    if (!m_Open)
        Close();
    return m_Open;
}

bool CResultsDb::OpenSqlite(QSqlDatabase& db, QString& error)
{
    const QFileInfo file(m_Target.Path());
    if (!QDir().mkpath(file.absolutePath()))
    {
        error = Message(QString("cannot create the folder %1").arg(file.absolutePath()));
        return false;
    }
    db.setDatabaseName(m_Target.Path());
    db.setConnectOptions(QString("QSQLITE_BUSY_TIMEOUT=%1").arg(c_BusyMilliseconds));
    if (!db.open())
    {
        error = Message(db.lastError());
        return false;
    }
    // Several stations may share the file: WAL lets them read while one
    // writes, and every commit reaches the disk before a step counts as stored.
    // Switching a new file to WAL takes it whole for a moment, and SQLite may
    // answer another station's switch with "locked" at once instead of waiting.
    QSqlQuery query(db);
    for (int attempt = 0; !Exec(query, "PRAGMA journal_mode = WAL", {}, error); ++attempt)
    {
        if (!m_Busy || attempt >= c_BusyRetries)
            return false;
        QThread::msleep(20 + 10 * (attempt % 8));
    }
    if (!query.next() || query.value(0).toString().toLower() != "wal")
    {
        error = Message("cannot switch to write-ahead logging");
        return false;
    }
    query.finish();
    return Command("PRAGMA synchronous = FULL", error) && Command("PRAGMA foreign_keys = ON", error);
}

bool CResultsDb::OpenPostgresql(QSqlDatabase& db, QString& error)
{
    if (!m_Target.Host().isEmpty())
        db.setHostName(m_Target.Host());
    if (m_Target.Port() >= 0)
        db.setPort(m_Target.Port());
    db.setUserName(m_Target.User());
    db.setDatabaseName(m_Target.Database());
    // No password: libpq takes it from PGPASSWORD, PGPASSFILE or ~/.pgpass.
    db.setConnectOptions("connect_timeout=10;application_name=sonarstation");
    if (db.open())
        return Command("SET client_min_messages = WARNING", error);
    const QString text = Text(db.lastError());
    m_Unreachable = !Misconfigured(text);
    error = Message(text);
    return false;
}

bool CResultsDb::Command(const QString& sql, QString& error, bool* busy)
{
    QSqlQuery query(Connection());
    if (query.exec(sql))
        return true;
    m_Busy = Busy(query.lastError());
    if (busy)
        *busy = m_Busy;
    error = Message(query.lastError());
    return false;
}

bool CResultsDb::Exec(QSqlQuery& query, const QString& sql, const QVariantList& values, QString& error)
{
    query = QSqlQuery(Connection());
    query.setForwardOnly(true);
    if (!query.prepare(sql))
    {
        error = Message(query.lastError());
        return false;
    }
    for (const QVariant& value : values)
        query.addBindValue(value);
    if (!query.exec())
    {
        m_Busy = Busy(query.lastError());
        error = Message(query.lastError());
        return false;
    }
    return true;
}

bool CResultsDb::Alive()
{
    QSqlQuery query(Connection());
    return query.exec("SELECT 1") && query.next();
}

bool CResultsDb::Transaction(const std::function<bool(QString&)>& work, QString& error)
{
    const QString begin = Postgresql() ? "BEGIN" : "BEGIN IMMEDIATE";
    for (int attempt = 0;; ++attempt)
    {
        bool busy = false;
        m_Busy = false;
        if (Command(begin, error, &busy))
        {
            if (work(error) && Command("COMMIT", error, &busy))
                return true;
            busy = m_Busy;
            QString ignored;
            Command("ROLLBACK", ignored);
        }
        if (!busy || Postgresql() || attempt >= c_BusyRetries)
            return false;
        QThread::msleep(20 + 10 * (attempt % 8));
    }
}

bool CResultsDb::ReadVersion(int& version, QString& error)
{
    QSqlQuery query(Connection());
    const QString exists = Postgresql() ? "SELECT COUNT(*) FROM information_schema.tables WHERE table_schema = "
                                          "current_schema() AND table_name = 'schema_version'"
                                        : "SELECT COUNT(*) FROM sqlite_master WHERE name = 'schema_version'";
    if (!Exec(query, exists, {}, error) || !query.next())
        return false;
    version = 0;
    if (query.value(0).toInt() == 0)
        return true;
    if (!Exec(query, "SELECT version FROM schema_version", {}, error))
        return false;
    if (!query.next())
    {
        error = Message("its schema_version table is empty");
        return false;
    }
    version = query.value(0).toInt();
    return true;
}

bool CResultsDb::Migrate(QString& error)
{
    return Transaction(
        [this](QString& error) {
            if (Postgresql() && !Command(QString("SELECT pg_advisory_xact_lock(%1)").arg(c_MigrationLock), error))
                return false;
            int version = 0;
            if (!ReadVersion(version, error))
                return false;
            if (version > CResultsSchema::Version())
            {
                error = Message(QString("its schema is version %1, newer than this station's %2: use a newer "
                                        "sonarstation")
                                    .arg(version)
                                    .arg(CResultsSchema::Version()));
                return false;
            }
            for (const QString& statement : CResultsSchema::Migration(version, Postgresql()))
                if (!Command(statement, error))
                    return false;
            // A write on every opening finds a read-only file or a full disk
            // before any unit runs, not at the first step.
            return Postgresql() || Command("UPDATE schema_version SET version = version", error);
        },
        error);
}
