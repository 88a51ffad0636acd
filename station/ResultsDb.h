// One connection to the results database, its schema brought up to date.
// A connection belongs to the thread that opened it (CResultsStore hides this).
#pragma once

#include "DbTarget.h"

#include <QSqlDatabase>
#include <QString>
#include <QVariantList>

#include <functional>

class QSqlError;
class QSqlQuery;

class CResultsDb
{
public:
    CResultsDb();
    ~CResultsDb();
    CResultsDb(const CResultsDb&) = delete;
    CResultsDb& operator=(const CResultsDb&) = delete;

    // Connects, creates or migrates the schema. False with one line naming
    // the database; Unreachable() then says whether the server was out of reach.
    bool Open(const CDbTarget& target, QString& error);
    void Close();
    bool IsOpen() const { return m_Open; }
    bool Unreachable() const { return m_Unreachable; }
    bool Postgresql() const { return m_Target.Kind() == CDbTarget::POSTGRESQL; }
    const CDbTarget& Target() const { return m_Target; }

    // Runs WORK in one write transaction, again while SQLite reports another
    // writer. WORK returns false with a message to roll back.
    bool Transaction(const std::function<bool(QString&)>& work, QString& error);
    // Prepares SQL (constant text, '?' for every value), binds VALUES, runs it.
    bool Exec(QSqlQuery& query, const QString& sql, const QVariantList& values, QString& error);
    // Whether the server answers at all.
    bool Alive();
    QSqlDatabase Connection() const { return QSqlDatabase::database(m_Name, false); }
    // "results database NAME: what went wrong" on one line.
    QString Message(const QString& what) const;
    QString Message(const QSqlError& error) const;

private:
    bool OpenSqlite(QSqlDatabase& db, QString& error);
    bool OpenPostgresql(QSqlDatabase& db, QString& error);
    bool Migrate(QString& error);
    bool ReadVersion(int& version, QString& error);
    bool Command(const QString& sql, QString& error, bool* busy = nullptr);

    QString m_Name;
    CDbTarget m_Target;
    bool m_Open = false;
    bool m_Unreachable = false;
    bool m_Busy = false;  // the last failed statement met another writer
};
