// Where the station keeps its results: an SQLite file, a PostgreSQL database,
// or nowhere. Never holds a password: libpq finds it in ~/.pgpass,
// PGPASSFILE or PGPASSWORD.
#pragma once

#include <QString>

class CDbTarget
{
public:
    enum Kind_T
    {
        NONE,
        SQLITE,
        POSTGRESQL
    };

    // TEXT is "none", a file path, postgresql://[USER@]HOST[:PORT]/DBNAME or
    // postgresql:///DBNAME?host=SOCKET_FOLDER. False with a message otherwise.
    static bool Parse(const QString& text, CDbTarget& target, QString& error);
    // $SONARSTATION_DB, else $XDG_DATA_HOME/sonarstation/results.db.
    static bool Default(CDbTarget& target, QString& error);
    static CDbTarget Sqlite(const QString& path);
    // Where results wait while a PostgreSQL database cannot be reached.
    static QString SpoolPath();

    Kind_T Kind() const { return m_Kind; }
    const QString& Path() const { return m_Path; }  // SQLite
    const QString& Host() const { return m_Host; }  // a name, an address or a socket folder
    int Port() const { return m_Port; }             // -1: libpq's default
    const QString& User() const { return m_User; }  // empty: libpq's default
    const QString& Database() const { return m_Database; }
    // How messages name the target.
    QString Display() const;

private:
    static QString DataFolder();

    Kind_T m_Kind = NONE;
    QString m_Path;
    QString m_Host;
    int m_Port = -1;
    QString m_User;
    QString m_Database;
};
