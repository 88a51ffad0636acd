#include "ResultCommands.h"

#include "ResultFiles.h"

#include "DbTarget.h"
#include "HistoryFormat.h"
#include "ResultsDb.h"
#include "ResultsReader.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>

namespace
{
const char* const c_SeeUsage = " (sonarstation help prints the usage)";

}

const char* CResultCommands::Usage()
{
    return "usage: sonarstation history SERIAL [--db DB] [--json]\n"
           "       sonarstation export RUN_ID [--db DB] [--json FILE|-] [--junit FILE] [--report DIR]\n"
           "history lists every stored run of the unit with this serial number, oldest\n"
           "first, as a table or as JSON (exit status 1 when there is none). export writes\n"
           "the result files of the session the run belongs to again from the database,\n"
           "byte for byte as the run wrote them (exit status 2 for an unknown run id).\n"
           "DB is a file (SQLite), postgresql://[USER@]HOST[:PORT]/DBNAME or\n"
           "postgresql:///DBNAME?host=SOCKET_FOLDER; without --db, $SONARSTATION_DB, else\n"
           "$XDG_DATA_HOME/sonarstation/results.db.\n";
}

void CResultCommands::Say(const QString& line) const
{
    fprintf(m_Messages, "%s\n", line.toLocal8Bit().constData());
    fflush(m_Messages);
}

int CResultCommands::Refuse(const QString& message) const
{
    // A serial or run id from the command line may hold a line break.
    Say("sonarstation: " + CHistoryFormat::Printable(message));
    return 2;
}

bool CResultCommands::Parse(const QByteArrayList& arguments, bool exporting, Options_T& options, QString& error)
{
    options = Options_T();
    bool subjectGiven = false;
    bool optionsEnd = false;
    for (int i = 0; i < arguments.size(); ++i)
    {
        const QByteArray& word = arguments[i];
        if (!optionsEnd && (word == "--help" || word == "-h"))
        {
            options.help = true;
            return true;
        }
        const bool takesValue =
            word == "--db" || (exporting && (word == "--json" || word == "--junit" || word == "--report"));
        if (!optionsEnd && takesValue)
        {
            if (i + 1 >= arguments.size())
            {
                error = QString::fromLocal8Bit(word) + " needs a value" + c_SeeUsage;
                return false;
            }
            const QString value = QFile::decodeName(arguments[++i]);
            (word == "--db"      ? options.db
             : word == "--json"  ? options.jsonFile
             : word == "--junit" ? options.junit
                                 : options.report) = value;
        }
        else if (!optionsEnd && !exporting && word == "--json")
            options.json = true;
        else if (!optionsEnd && word == "--")
            optionsEnd = true;
        else if ((!optionsEnd && word.startsWith('-')) || subjectGiven)
        {
            error = QString("unexpected '%1'%2").arg(QString::fromLocal8Bit(word), c_SeeUsage);
            return false;
        }
        else
        {
            options.subject = word;
            subjectGiven = true;
        }
    }
    if (options.subject.isEmpty())
    {
        error = QString(exporting ? "no run id given" : "no serial number given") + c_SeeUsage;
        return false;
    }
    if (exporting && options.jsonFile.isEmpty() && options.junit.isEmpty() && options.report.isEmpty())
    {
        error = QString("nothing to export: name --json FILE|-, --junit FILE or --report DIR") + c_SeeUsage;
        return false;
    }
    return true;
}

bool CResultCommands::Open(const QString& db, CResultsDb& results, QString& error)
{
    CDbTarget target;
    if (!(db.isEmpty() ? CDbTarget::Default(target, error) : CDbTarget::Parse(db, target, error)))
        return false;
    if (target.Kind() == CDbTarget::NONE)
    {
        error = "--db none keeps no results to read";
        return false;
    }
    // Reading never makes a database.
    if (target.Kind() == CDbTarget::SQLITE && !QFileInfo::exists(target.Path()))
    {
        error = QString("results database %1: there is no such file").arg(target.Display());
        return false;
    }
    return results.Open(target, error);
}

bool CResultCommands::Print(const QByteArray& bytes, QString& error) const
{
    if (fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), m_Out) == static_cast<size_t>(bytes.size()) &&
        fflush(m_Out) == 0)
        return true;
    error = QString("standard output: %1").arg(strerror(errno));
    return false;
}

int CResultCommands::History(const QByteArrayList& arguments) const
{
    Options_T options;
    QString error;
    if (!Parse(arguments, false, options, error))
        return Refuse(error);
    if (options.help)
        return Print(Usage(), error) ? 0 : 1;
    CResultsDb db;
    UnitHistory_T history;
    if (!Open(options.db, db, error) || !CResultsReader(db).History(options.subject, history, error))
        return Refuse(error);
    const bool printed =
        Print(options.json ? CHistoryFormat::Json(history) : CHistoryFormat::Table(history).toUtf8(), error);
    if (!printed)
        Say("sonarstation: " + error);
    if (history.runs.empty())
        Say(QString("sonarstation: results database %1 holds no run of serial '%2'")
                .arg(db.Target().Display(), CHistoryFormat::Printable(QString::fromUtf8(options.subject))));
    return printed && !history.runs.empty() ? 0 : 1;
}

int CResultCommands::Export(const QByteArrayList& arguments) const
{
    Options_T options;
    QString error;
    if (!Parse(arguments, true, options, error))
        return Refuse(error);
    if (options.help)
        return Print(Usage(), error) ? 0 : 1;
    const CResultFiles files(options.jsonFile, options.junit, options.report);
    if (!files.Check(error))
        return Refuse(error);
    CResultsDb db;
    QString session;
    StationResults_T results;
    const CResultsReader reader(db);
    if (!Open(options.db, db, error) || !reader.SessionOfRun(QString::fromUtf8(options.subject), session, error) ||
        !reader.LoadSession(session, results, error))
        return Refuse(error);
    return files.Write(results, m_Out, m_Messages) ? 0 : 1;
}
