#include "CommandLine.h"

#include "ResultFiles.h"

#include "ProfileNames.h"
#include "ReportFolder.h"
#include "SaveFile.h"

#include <QFileInfo>
#include <QThread>

#include <pwd.h>
#include <unistd.h>

namespace
{
const char* const c_SeeUsage = " (sonarstation help prints the usage)";
// vunit numbers a lot's units from 1 to this.
const int c_LastLotUnit = 9999;

// A unit as the command line names it, before the launcher is known.
struct Named_T
{
    QString profile;  // virtual units
    int lotNumber = 0;
    bool isSsh = false;
    CUnitTarget ssh;
    bool hasSerial = false;
    QByteArray serial;
};

// PROFILE:COUNT[:FIRST] into PROFILE, COUNT and FIRST.
bool ParseLot(const QString& value, QString& profile, int& count, int& first, QString& error)
{
    const QStringList parts = value.split(':');
    bool countOk = false;
    bool firstOk = parts.size() == 2;
    profile = parts.value(0);
    count = parts.value(1).toInt(&countOk);
    first = parts.size() == 2 ? 1 : parts.value(2).toInt(&firstOk);
    if (parts.size() < 2 || parts.size() > 3 || profile.isEmpty() || !countOk || !firstOk || count < 1 || first < 1 ||
        first > c_LastLotUnit - count + 1)
    {
        error = QString("--lot takes PROFILE:COUNT[:FIRST], units 1 to %1, not '%2'").arg(c_LastLotUnit).arg(value);
        return false;
    }
    return true;
}

// One option and its value; OK false for a word that is no option.
bool Take(const QString& word, const QString& value, const QByteArray& raw, StationOptions_T& options,
          std::vector<Named_T>& named, QString& vunit, bool& ok, QString& error)
{
    Named_T unit;
    if (word == "--unit")
    {
        unit.profile = value;
        named.push_back(unit);
    }
    else if (word == "--ssh")
    {
        if (!CUnitTarget::Ssh(value, unit.ssh, error))
            return false;
        unit.isSsh = true;
        named.push_back(unit);
    }
    else if (word == "--lot")
    {
        int count = 0;
        int first = 0;
        if (!ParseLot(value, unit.profile, count, first, error))
            return false;
        for (int number = first; number < first + count; ++number)
        {
            unit.lotNumber = number;
            named.push_back(unit);
        }
    }
    else if (word == "--serial")
    {
        if (named.empty() || named.back().lotNumber > 0 || named.back().hasSerial)
        {
            error = "--serial follows the --unit or --ssh it belongs to, once" + QString(c_SeeUsage);
            return false;
        }
        named.back().hasSerial = true;
        named.back().serial = raw;
    }
    else if (word == "-j")
    {
        if ((options.jobs = value.toInt(&ok)) < 1 || !ok)
        {
            error = QString("-j takes a whole number of units at once, 1 or more, not '%1'").arg(value);
            return false;
        }
    }
    else if (word == "--json")
        options.json = value;
    else if (word == "--junit")
        options.junit = value;
    else if (word == "--report")
        options.report = value;
    else if (word == "--vunit")
        vunit = value;
    else if (word == "--db")
    {
        if (!CDbTarget::Parse(value, options.db, error))
            return false;
    }
    else if (word == "--operator")
        options.operatorName = value;
    else
        ok = false;
    return true;
}
}

const char* CCommandLine::Usage()
{
    return "usage: sonarstation run PLAN [--unit PROFILE [--serial TEXT]]...\n"
           "                         [--ssh [USER@]HOST[:PORT] [--serial TEXT]]... [--lot PROFILE:COUNT[:FIRST]]...\n"
           "                         [-j N] [--json FILE|-] [--junit FILE] [--report DIR] [--vunit PATH]\n"
           "                         [--db FILE|postgresql://...|none] [--operator NAME]\n"
           "       sonarstation sync [--db postgresql://...]\n"
           "       sonarstation history SERIAL [--db DB] [--json]\n"
           "       sonarstation export RUN_ID [--db DB] [--json FILE|-] [--junit FILE] [--report DIR]\n"
           "                                      (history --help, export --help: what they do)\n"
           "       sonarstation yield|capability|control|dashboard ...   (yield --help: the analytics)\n"
           "       sonarstation help\n"
           "Runs the plan's steps on every unit: --unit is a fresh virtual unit of PROFILE\n"
           "(vunit --list lists them), --ssh a real unit reached with ssh in batch mode,\n"
           "--lot COUNT units of a virtual production lot from unit FIRST (default 1).\n"
           "--serial gives the serial number of the unit named just before it (a scanned\n"
           "label) in place of the one the unit holds. Every run is stored in --db (default\n"
           "$SONARSTATION_DB, else $XDG_DATA_HOME/sonarstation/results.db); sync moves runs\n"
           "spooled while PostgreSQL was out of reach into it.\n"
           "-j N units run at once (default: the number of cores). --json - writes the\n"
           "JSON to standard output. --report DIR must be new, empty or an earlier report,\n"
           "which is replaced whole. Progress and the summary go to standard error.\n"
           "Exit status: 0 every expectation met, 1 not (or a unit unreachable, or a result\n"
           "file or run not stored), 2 usage, plan, profile, output or database error\n"
           "(nothing run), 128+N stopped by signal N.\n";
}

QString CCommandLine::DefaultVunit()
{
    // The build tree holds station/sonarstation beside sim/vunit.
    const QFileInfo self("/proc/self/exe");
    return QFileInfo(self.canonicalFilePath()).absolutePath() + "/../sim/vunit";
}

bool CCommandLine::CheckProfiles(const std::vector<std::pair<QString, QString>>& profiles, const QString& vunit,
                                 QString& error)
{
    CProfileNames names;
    // A launcher that lists nothing is left to judge its profiles itself.
    if (!names.Load(vunit))
        return true;
    for (const auto& named : profiles)
    {
        const QString& profile = named.second;
        if (names.Contains(profile))
            continue;
        QStringList closest = names.Closest(profile);
        error = QString("%1 %2: no such profile; ").arg(named.first, profile);
        if (closest.isEmpty())
        {
            const QString lister = QFileInfo(vunit).fileName() == "vunit" ? QString("vunit") : vunit;
            error += lister + " --list lists them";
        }
        else
        {
            const QString last = closest.takeLast();
            error += "did you mean " + (closest.isEmpty() ? last : closest.join(", ") + " or " + last) + "?";
        }
        return false;
    }
    return true;
}

QString CCommandLine::LoginName()
{
    for (const char* name : {"LOGNAME", "USER"})
        if (!qEnvironmentVariable(name).isEmpty())
            return qEnvironmentVariable(name);
    const passwd* user = getpwuid(geteuid());
    return user ? QString::fromLocal8Bit(user->pw_name) : QString::number(geteuid());
}

bool CCommandLine::Parse(const QStringList& arguments, StationOptions_T& options, QString& error,
                         const QList<QByteArray>& bytes) const
{
    options = StationOptions_T();
    std::vector<Named_T> named;
    QString vunit;
    bool dbGiven = false;
    for (int i = 0; i < arguments.size(); ++i)
    {
        QString word = arguments[i];
        QString attached;  // "-j2" as make takes it
        if (word.startsWith("-j") && word.size() > 2)
        {
            attached = word.mid(2);
            word = "-j";
        }
        if (word == "--help" || word == "-h")
        {
            options.help = true;
            return true;
        }
        const bool takesValue = QStringList{"--unit",  "--ssh",    "--lot",   "--serial", "-j",        "--json",
                                            "--junit", "--report", "--vunit", "--db",     "--operator"}
                                    .contains(word);
        if (takesValue && attached.isEmpty() && i + 1 >= arguments.size())
        {
            error = word + " needs a value" + c_SeeUsage;
            return false;
        }
        const QString value = !attached.isEmpty() ? attached : takesValue ? arguments[++i] : QString();
        bool ok = true;
        if (word == "--db")
            dbGiven = true;
        if (!Take(word, value, i < bytes.size() ? bytes[i] : value.toUtf8(), options, named, vunit, ok, error))
            return false;
        if (!ok && !word.startsWith('-') && options.plan.isEmpty())
        {
            options.plan = word;
            ok = true;
        }
        if (!ok)
        {
            error = QString("unexpected '%1'%2").arg(word, c_SeeUsage);
            return false;
        }
    }
    if (options.plan.isEmpty() || named.empty())
    {
        error =
            QString(options.plan.isEmpty() ? "no plan given" : "no unit given; name one with --unit, --ssh or --lot") +
            c_SeeUsage;
        return false;
    }
    std::vector<std::pair<QString, QString>> profiles;  // option and profile
    for (const Named_T& unit : named)
        if (!unit.isSsh && (unit.lotNumber <= 1 || profiles.empty() || profiles.back().second != unit.profile))
            profiles.emplace_back(unit.lotNumber > 0 ? "--lot" : "--unit", unit.profile);
    if (!profiles.empty())
    {
        vunit = vunit.isEmpty() ? DefaultVunit() : vunit;
        if (!QFileInfo(vunit).isExecutable())
        {
            error = QString("no virtual unit launcher at %1 (name one with --vunit)").arg(vunit);
            return false;
        }
        if (!CheckProfiles(profiles, vunit, error))
            return false;
    }
    for (const Named_T& unit : named)
    {
        options.units.push_back(unit.isSsh           ? unit.ssh
                                : unit.lotNumber > 0 ? CUnitTarget::Lot(unit.profile, unit.lotNumber, vunit)
                                                     : CUnitTarget::Virtual(unit.profile, vunit));
        if (unit.hasSerial)
            options.units.back().SetOperatorSerial(unit.serial);
    }
    return Finish(options, dbGiven, error);
}

bool CCommandLine::Finish(StationOptions_T& options, bool dbGiven, QString& error)
{
    if (!CResultFiles(options.json, options.junit, options.report).Check(error))
        return false;
    if (!dbGiven && !CDbTarget::Default(options.db, error))
        return false;
    if (options.operatorName.isEmpty())
        options.operatorName = LoginName();
    if (options.jobs == 0)
        options.jobs = QThread::idealThreadCount();
    return true;
}
