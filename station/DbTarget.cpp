#include "DbTarget.h"

#include <QDir>
#include <QUrl>
#include <QUrlQuery>

namespace
{
const QString c_Scheme = "postgresql://";
const QString c_Form = "postgresql://[USER@]HOST[:PORT]/DBNAME or postgresql:///DBNAME?host=SOCKET_FOLDER";
}

bool CDbTarget::Parse(const QString& text, CDbTarget& target, QString& error)
{
    target = CDbTarget();
    if (text == "none")
        return true;
    if (text.isEmpty())
    {
        error = "--db needs a file, a PostgreSQL URL or none";
        return false;
    }
    if (!text.startsWith(c_Scheme) && !text.startsWith("postgres://"))
    {
        if (text.contains("://"))
        {
            error = QString("--db: only PostgreSQL URLs are understood (%1)").arg(c_Form);
            return false;
        }
        target = Sqlite(text);
        return true;
    }
    // Checked before anything else so that no message repeats a password.
    const int authority = text.indexOf("://") + 3;
    const int slash = text.indexOf('/', authority);
    const int at = text.lastIndexOf('@', slash < 0 ? -1 : slash);
    if (at >= authority && text.mid(authority, at - authority).contains(':'))
    {
        error = "--db: a password does not belong on the command line; libpq reads it from ~/.pgpass, PGPASSFILE "
                "or PGPASSWORD";
        return false;
    }
    const QUrl url(text, QUrl::StrictMode);
    const QString database = url.path().mid(1);
    if (!url.isValid() || slash < 0 || database.isEmpty() || database.contains('/') || url.hasFragment())
    {
        error = QString("--db: '%1' is not %2").arg(text, c_Form);
        return false;
    }
    target.m_Kind = POSTGRESQL;
    target.m_Database = database;
    target.m_User = url.userName();
    target.m_Host = url.host();
    target.m_Port = url.port(-1);
    const QUrlQuery query(url);
    for (const auto& item : query.queryItems(QUrl::FullyDecoded))
    {
        if (item.first != "host" || !target.m_Host.isEmpty() || !item.second.startsWith('/'))
        {
            error = QString("--db: the only parameter a URL takes is host=SOCKET_FOLDER, in place of a host name, not "
                            "'%1'")
                        .arg(item.first);
            return false;
        }
        target.m_Host = item.second;
    }
    return true;
}

CDbTarget CDbTarget::Sqlite(const QString& path)
{
    CDbTarget target;
    target.m_Kind = SQLITE;
    target.m_Path = path;
    return target;
}

QString CDbTarget::DataFolder()
{
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty() || !QDir::isAbsolutePath(data))
        data = QDir::homePath() + "/.local/share";
    return data + "/sonarstation";
}

bool CDbTarget::Default(CDbTarget& target, QString& error)
{
    const QString configured = qEnvironmentVariable("SONARSTATION_DB");
    if (!configured.isEmpty())
    {
        if (!Parse(configured, target, error))
        {
            error = "SONARSTATION_DB" + error.mid(4);
            return false;
        }
        return true;
    }
    target = Sqlite(DataFolder() + "/results.db");
    return true;
}

QString CDbTarget::SpoolPath()
{
    return DataFolder() + "/spool.db";
}

QString CDbTarget::Display() const
{
    switch (m_Kind)
    {
    case NONE:
        return "none";
    case SQLITE:
        return m_Path;
    case POSTGRESQL:
        break;
    }
    const bool socket = m_Host.startsWith('/');
    QString text = c_Scheme;
    if (!m_User.isEmpty())
        text += m_User + "@";
    if (!socket)
        text += m_Host.contains(':') ? "[" + m_Host + "]" : m_Host;
    if (m_Port >= 0)
        text += ":" + QString::number(m_Port);
    text += "/" + m_Database;
    return socket ? text + "?host=" + m_Host : text;
}
