#include "CommandLine.h"

#include <QFileInfo>
#include <QThread>

const char* CCommandLine::Usage()
{
    return "usage: sonarstation run PLAN [--unit PROFILE]... [--ssh [USER@]HOST[:PORT]]... [-j N]\n"
           "                         [--json FILE] [--junit FILE] [--report DIR] [--vunit PATH]\n"
           "Runs the plan's steps on every unit: --unit is a fresh virtual unit of PROFILE,\n"
           "--ssh a real unit reached with ssh in batch mode. -j N units run at once\n"
           "(default: the number of cores). Exit status: 0 every expectation met, 1 not,\n"
           "2 usage or plan error.\n";
}

QString CCommandLine::DefaultVunit()
{
    // The build tree holds station/sonarstation beside sim/vunit.
    const QFileInfo self("/proc/self/exe");
    return QFileInfo(self.canonicalFilePath()).absolutePath() + "/../sim/vunit";
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
        const bool takesValue =
            QStringList{"--unit", "--ssh", "-j", "--json", "--junit", "--report", "--vunit"}.contains(word);
        if (takesValue && attached.isEmpty() && i + 1 >= arguments.size())
        {
            error = word + " needs a value";
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
            ok = (options.jobs = value.toInt(&ok)) > 0 && ok;
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
            error = QString("unexpected '%1'%2").arg(word, takesValue ? " " + value : QString());
            return false;
        }
    }
    if (options.plan.isEmpty() || order.empty())
    {
        error = options.plan.isEmpty() ? "no plan given" : "no unit given (--unit or --ssh)";
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
    }
    for (int index : order)
        options.units.push_back(index >= 0 ? CUnitTarget::Virtual(profiles[index], vunit) : sshUnits[-index - 1]);
    if (options.jobs == 0)
        options.jobs = QThread::idealThreadCount();
    return true;
}
