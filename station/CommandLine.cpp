#include "CommandLine.h"

#include "ProfileNames.h"
#include "ReportFolder.h"
#include "SaveFile.h"

#include <QFileInfo>
#include <QThread>

namespace
{
const char* const c_SeeUsage = " (sonarstation help prints the usage)";
}

const char* CCommandLine::Usage()
{
    return "usage: sonarstation run PLAN [--unit PROFILE]... [--ssh [USER@]HOST[:PORT]]... [-j N]\n"
           "                         [--json FILE|-] [--junit FILE] [--report DIR] [--vunit PATH]\n"
           "       sonarstation history SERIAL [--db DB] [--json]\n"
           "       sonarstation export RUN_ID [--db DB] [--json FILE|-] [--junit FILE] [--report DIR]\n"
           "                                      (history --help, export --help: what they do)\n"
           "       sonarstation help\n"
           "Runs the plan's steps on every unit: --unit is a fresh virtual unit of PROFILE\n"
           "(vunit --list lists them), --ssh a real unit reached with ssh in batch mode.\n"
           "-j N units run at once (default: the number of cores). --json - writes the\n"
           "JSON to standard output. --report DIR must be new, empty or an earlier report,\n"
           "which is replaced whole. Progress and the summary go to standard error.\n"
           "Exit status: 0 every expectation met, 1 not (or a unit unreachable, or a result\n"
           "file not written), 2 usage, plan, profile or output error (nothing run),\n"
           "128+N stopped by signal N.\n";
}

QString CCommandLine::DefaultVunit()
{
    // The build tree holds station/sonarstation beside sim/vunit.
    const QFileInfo self("/proc/self/exe");
    return QFileInfo(self.canonicalFilePath()).absolutePath() + "/../sim/vunit";
}

bool CCommandLine::CheckProfiles(const QStringList& profiles, const QString& vunit, QString& error)
{
    CProfileNames names;
    // A launcher that lists nothing is left to judge its profiles itself.
    if (!names.Load(vunit))
        return true;
    for (const QString& profile : profiles)
    {
        if (names.Contains(profile))
            continue;
        QStringList closest = names.Closest(profile);
        error = QString("--unit %1: no such profile; ").arg(profile);
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

bool CCommandLine::CheckFile(const QString& option, const QString& path, QString& error)
{
    const QFileInfo file(path);
    const QFileInfo folder(file.absolutePath());
    if (file.isDir())
        error = QString("%1 %2: is a folder; name a file").arg(option, path);
    else if (!folder.isDir())
        error = QString("%1 %2: there is no folder %3").arg(option, path, folder.filePath());
    else if (!CanCreateIn(folder.filePath()))
        error = QString("%1 %2: cannot write in %3").arg(option, path, folder.filePath());
    else
        return true;
    return false;
}

bool CCommandLine::CheckOutputs(const StationOptions_T& options, QString& error)
{
    if (!options.json.isEmpty() && options.json != "-" && !CheckFile("--json", options.json, error))
        return false;
    if (!options.junit.isEmpty() && !CheckFile("--junit", options.junit, error))
        return false;
    if (!options.report.isEmpty() && !CReportFolder(options.report).Check(error))
    {
        error = "--report " + error;
        return false;
    }
    return true;
}

bool CCommandLine::Parse(const QStringList& arguments, StationOptions_T& options, QString& error) const
{
    options = StationOptions_T();
    QStringList profiles;
    std::vector<int> order;  // index into profiles (>= 0) or ssh units (< 0)
    std::vector<CUnitTarget> sshUnits;
    QString vunit;
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
        const bool takesValue =
            QStringList{"--unit", "--ssh", "-j", "--json", "--junit", "--report", "--vunit"}.contains(word);
        if (takesValue && attached.isEmpty() && i + 1 >= arguments.size())
        {
            error = word + " needs a value" + c_SeeUsage;
            return false;
        }
        const QString value = !attached.isEmpty() ? attached : takesValue ? arguments[++i] : QString();
        bool ok = true;
        if (word == "--unit")
        {
            order.push_back(static_cast<int>(profiles.size()));
            profiles << value;
        }
        else if (word == "--ssh")
        {
            CUnitTarget unit;
            if (!CUnitTarget::Ssh(value, unit, error))
                return false;
            sshUnits.push_back(unit);
            order.push_back(-static_cast<int>(sshUnits.size()));
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
        else if (word.startsWith('-') || !options.plan.isEmpty())
            ok = false;
        else
            options.plan = word;
        if (!ok)
        {
            error = QString("unexpected '%1'%2").arg(word, c_SeeUsage);
            return false;
        }
    }
    if (options.plan.isEmpty() || order.empty())
    {
        error = QString(options.plan.isEmpty() ? "no plan given" : "no unit given; name one with --unit or --ssh") +
                c_SeeUsage;
        return false;
    }
    if (!profiles.isEmpty())
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
    if (!CheckOutputs(options, error))
        return false;
    for (int index : order)
        options.units.push_back(index >= 0 ? CUnitTarget::Virtual(profiles[index], vunit) : sshUnits[-index - 1]);
    if (options.jobs == 0)
        options.jobs = QThread::idealThreadCount();
    return true;
}
