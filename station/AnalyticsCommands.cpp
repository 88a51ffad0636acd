#include "AnalyticsCommands.h"

#include "Analytics.h"
#include "AnalyticsFormat.h"
#include "Dashboard.h"
#include "HistoryFormat.h"
#include "ResultCommands.h"
#include "ResultsDb.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>

namespace
{
const char* const c_SeeUsage = " (sonarstation help prints the usage)";

bool Count(const QString& text, int least, int& count)
{
    bool ok = false;
    count = text.toInt(&ok);
    return ok && count >= least;
}
}

const char* CAnalyticsCommands::Usage()
{
    return "usage: sonarstation yield [--by day|station|product] [COMMON]\n"
           "       sonarstation capability [--passed-only] [COMMON]\n"
           "       sonarstation control STEP KEY [--from INDEX] [--first-point N] [--baseline N] [COMMON]\n"
           "       sonarstation dashboard --out DIR [COMMON]\n"
           "COMMON: [--db DB] [--plan NAME] [--since TIME] [--until TIME] [--virtual] [--json]\n"
           "yield prints the units whose first attempt started in the window, their\n"
           "first-pass, second-pass, third-pass and last-pass yields, the run yield and\n"
           "the failures by first failing step. capability prints n, mean, sigmas, Cp,\n"
           "Cpk, Pp and Ppk of every numeric measurement, worst Cpk first. control prints\n"
           "the individuals and moving-range chart of the measurement KEY of step STEP\n"
           "(--from INDEX: the key taken from sample INDEX, as the plan's 'from'), its\n"
           "limits from the first N points (--baseline, default 20) from point\n"
           "--first-point, and the points that break a rule. TIME is an ISO 8601 date\n"
           "(its midnight UTC) or time; --until is exclusive. Virtual units are left out\n"
           "unless --virtual is given. dashboard writes all of these as HTML pages into\n"
           "DIR, with a page per unit, replacing an earlier dashboard there whole.\n"
           "docs/analytics.md defines every figure.\n";
}

bool CAnalyticsCommands::ParseTime(const QString& text, QDateTime& time)
{
    static const QRegularExpression c_Date("^\\d{4}-\\d\\d-\\d\\d$");
    static const QRegularExpression c_Time(
        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d(:\\d\\d(\\.\\d+)?)?(Z|[+-]\\d\\d:\\d\\d)?$");
    if (c_Date.match(text).hasMatch())
    {
        time = QDateTime(QDate::fromString(text, Qt::ISODate), QTime(0, 0), Qt::UTC);
        return time.isValid();
    }
    if (!c_Time.match(text).hasMatch())
        return false;
    time = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (time.timeSpec() == Qt::LocalTime)
        time.setTimeSpec(Qt::UTC);
    time = time.toUTC();
    return time.isValid();
}

QString CAnalyticsCommands::Mistake(const QString& message)
{
    return message + c_SeeUsage;
}

QString CAnalyticsCommands::NotA(const QString& word, const QString& value, const QString& what)
{
    return Mistake(QString("%1 '%2' is not %3").arg(word, value, what));
}

bool CAnalyticsCommands::TakeValue(const QStringList& arguments, int& i, QString& value, QString& error)
{
    if (i + 1 >= arguments.size())
    {
        error = Mistake(arguments[i] + " needs a value");
        return false;
    }
    value = arguments[++i];
    return true;
}

bool CAnalyticsCommands::ParseOptions(const QStringList& arguments, CommonOptions_T& options, const OwnWord& own,
                                      QString& error)
{
    for (int i = 0; i < arguments.size(); ++i)
    {
        const QString& word = arguments[i];
        QString value;
        if (word == "--help" || word == "-h")
        {
            options.help = true;
            return true;
        }
        if (word == "--db" || word == "--plan" || word == "--since" || word == "--until")
        {
            if (!TakeValue(arguments, i, value, error))
                return false;
            if (word == "--db")
                options.db = value;
            else if (word == "--plan")
                options.filter.plan = value;
            else if (!ParseTime(value, word == "--since" ? options.filter.since : options.filter.until))
            {
                error = NotA(word, value, "an ISO 8601 date or time");
                return false;
            }
        }
        else if (word == "--virtual")
            options.filter.withVirtual = true;
        else if (word == "--json")
            options.json = true;
        else if (!own(arguments, i, error))
        {
            if (error.isEmpty())
                error = Mistake(QString("unexpected '%1'").arg(word));
            return false;
        }
    }
    return true;
}

bool CAnalyticsCommands::Parse(const QString& command, const QStringList& arguments, Options_T& options, QString& error)
{
    options = Options_T();
    const bool control = command == "control";
    const auto own = [&](const QStringList& words, int& i, QString& message) {
        const QString word = words[i];
        if (command == "capability" && word == "--passed-only")
        {
            options.passedOnly = true;
            return true;
        }
        if (control && !word.startsWith("-") && options.subject.size() < 2)
        {
            options.subject << word;
            return true;
        }
        const bool takesValue = (command == "yield" && word == "--by") || (command == "dashboard" && word == "--out") ||
                                (control && (word == "--from" || word == "--first-point" || word == "--baseline"));
        QString value;
        if (!takesValue || !TakeValue(words, i, value, message))
            return false;
        bool ok = true;
        if (word == "--out")
            options.out = value;
        else if (word == "--by")
        {
            options.by = value;
            ok = value == "day" || value == "station" || value == "product";
        }
        else if (word == "--from")
            ok = Count(value, 0, options.from);
        else if (word == "--first-point")
            ok = Count(value, 1, options.firstPoint);
        else
            ok = Count(value, 2, options.baseline);
        if (!ok)
            message = NotA(word, value,
                           word == "--by"            ? "day, station or product"
                           : word == "--baseline"    ? "a count of 2 or more"
                           : word == "--first-point" ? "a point number from 1"
                                                     : "a sample index from 0");
        return ok;
    };
    if (!ParseOptions(arguments, options, own, error))
        return false;
    if (options.help)
        return true;
    if (command == "dashboard" && options.out.isEmpty())
    {
        error = Mistake("dashboard needs --out DIR");
        return false;
    }
    if (control && options.subject.size() < 2)
    {
        error = Mistake("control needs a STEP and a KEY");
        return false;
    }
    return true;
}

bool CAnalyticsCommands::Print(const QByteArray& bytes) const
{
    if (fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), m_Out) == static_cast<size_t>(bytes.size()) &&
        fflush(m_Out) == 0)
        return true;
    fprintf(m_Messages, "sonarstation: standard output: %s\n", strerror(errno));
    return false;
}

int CAnalyticsCommands::Refuse(const QString& message) const
{
    fprintf(m_Messages, "sonarstation: %s\n", CHistoryFormat::Printable(message).toLocal8Bit().constData());
    fflush(m_Messages);
    return 2;
}

int CAnalyticsCommands::Fail(const QString& message) const
{
    Refuse(message);
    return 1;
}

int CAnalyticsCommands::Run(const QString& command, const QStringList& arguments,
                            const std::function<int(const Options_T&, CResultsDb&)>& body) const
{
    Options_T options;
    QString error;
    if (!Parse(command, arguments, options, error))
        return Refuse(error);
    if (options.help)
        return Print(Usage()) ? 0 : 1;
    CResultsDb db;
    if (!CResultCommands::Open(options.db, db, error))
        return Refuse(error);
    return body(options, db);
}

int CAnalyticsCommands::Yield(const QStringList& arguments) const
{
    return Run("yield", arguments, [&](const Options_T& options, CResultsDb& db) {
        QString error;
        YieldReport_T report;
        if (!CAnalytics(db).Yield(options.filter, options.by, report, error))
            return Fail(error);
        const QByteArray text = options.json ? CAnalyticsFormat::YieldJson(report, options.by)
                                             : CAnalyticsFormat::YieldTable(report, options.by).toUtf8();
        return Print(text) ? 0 : 1;
    });
}

int CAnalyticsCommands::Capability(const QStringList& arguments) const
{
    return Run("capability", arguments, [&](const Options_T& options, CResultsDb& db) {
        QString error;
        std::vector<CapabilityRow_T> rows;
        if (!CAnalytics(db).Capability(options.filter, options.passedOnly, rows, error))
            return Fail(error);
        const QByteArray text =
            options.json ? CAnalyticsFormat::CapabilityJson(rows) : CAnalyticsFormat::CapabilityTable(rows).toUtf8();
        return Print(text) ? 0 : 1;
    });
}

int CAnalyticsCommands::Control(const QStringList& arguments) const
{
    return Run("control", arguments, [&](const Options_T& options, CResultsDb& db) {
        QString error;
        MeasurementId_T id{options.filter.plan, options.subject[0], options.subject[1], options.from};
        ControlChart_T chart;
        if (!CAnalytics(db).Control(options.filter, id, options.firstPoint, options.baseline, chart, error))
            return Fail(error);
        const QByteArray text =
            options.json ? CAnalyticsFormat::ControlJson(chart) : CAnalyticsFormat::ControlTable(chart).toUtf8();
        if (!Print(text))
            return 1;
        if (chart.points.empty())
            return Fail(
                QString("no stored value of %1 in step %2").arg(CAnalyticsFormat::Label(id.key, id.from), id.step));
        return 0;
    });
}

int CAnalyticsCommands::Dashboard(const QStringList& arguments) const
{
    return Run("dashboard", arguments, [&](const Options_T& options, CResultsDb& db) {
        QString error;
        DashboardSummary_T summary;
        if (!CDashboard(db).Write(options.out, options.filter, summary, error))
            return Fail(error);
        const QString index = QDir(options.out).filePath("index.html");
        const QByteArray text =
            options.json ? QJsonDocument(QJsonObject{{"index", index},
                                                     {"units", summary.units},
                                                     {"control_charts", static_cast<qint64>(summary.charts)}})
                               .toJson(QJsonDocument::Indented)
                         : QString("%1: %2 unit page(s), %3 control chart(s)\n")
                               .arg(index)
                               .arg(summary.units)
                               .arg(summary.charts)
                               .toUtf8();
        return Print(text) ? 0 : 1;
    });
}
