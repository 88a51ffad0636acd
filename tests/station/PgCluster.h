// A throw-away PostgreSQL server for a test: its own cluster in a temporary
// folder, reached only through a Unix socket there, run by an unprivileged
// user when the test runs as root. Stopped and removed with the object.
#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

class CPgCluster
{
public:
    CPgCluster();
    ~CPgCluster();

    // Why no cluster can be made here (e.g. PostgreSQL is not installed), or empty.
    static QString Missing();
    // initdb, start, and a user "station" (password Password()) owning a database "results".
    bool Create(QString& error);
    bool Start(QString& error);
    void Stop();

    // Runs SQL as the superuser in DATABASE, one statement a string.
    bool Sql(const QString& database, const QStringList& statements, QString& error);
    // A fresh database owned by "station".
    bool CreateDatabase(const QString& name, QString& error);

    QString SocketFolder() const { return m_Folder.path(); }
    // postgresql://USER@/DATABASE?host=SOCKET_FOLDER
    QString Url(const QString& database = "results", const QString& user = "station") const;
    static const char* Password() { return "station-secret"; }

private:
    void WatchForTheTestsEnd() const;
    bool Run(const QString& program, const QStringList& arguments, QString& error) const;
    QString DataFolder() const { return m_Folder.path() + "/data"; }

    QTemporaryDir m_Folder;
    bool m_Running = false;
};
