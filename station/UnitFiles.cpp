#include "UnitFiles.h"

namespace
{
// The copy's exit status when the unit already has a file of that name.
const int c_AlreadyThere = 3;
const char* const c_Created = "sonarstation: created";

// A failed ssh command in a line: its standard error, or its exit status.
QString Why(const RunResult_T& run)
{
    const QString errors = QString::fromLocal8Bit(run.errors).trimmed().replace('\n', "; ");
    if (run.timedOut)
        return QString("no answer within %1 s").arg(CUnitFiles::c_Seconds);
    return errors.isEmpty() ? QString("exit status %1").arg(run.exitStatus) : errors;
}
}

const double CUnitFiles::c_Seconds = 60;

CUnitFiles::CUnitFiles(const CUnitTarget& unit, const std::vector<PlanFile_T>& files, const CStepRunner& runner)
    : m_Unit(unit), m_Files(files), m_Runner(runner)
{
}

bool CUnitFiles::Put(QString& error)
{
    if (m_Unit.IsVirtual())
        return true;
    for (const PlanFile_T& file : m_Files)
    {
        // Made with noclobber after the check, so a file that turns up in
        // between is not truncated; the marker tells that this copy made it.
        const QString name = CUnitTarget::ShellQuoted(file.name);
        const QString script = QString("if [ -e %1 ] || [ -h %1 ]; then exit %2; fi && set -C && "
                                       "{ true > %1 || exit 4; } && echo '%3' && cat >> %1")
                                   .arg(name)
                                   .arg(c_AlreadyThere)
                                   .arg(c_Created);
        const RunResult_T run = m_Runner.Run(m_Unit.RemoteShell(script), c_Seconds, file.path);
        if (run.output.contains(c_Created))
            m_Made << file.name;
        if (run.exitStatus == 0 && !run.timedOut)
            continue;
        if (CStepRunner::StopRequested())
            error = QString("stopped while sending '%1'").arg(file.name);
        else if (run.exitStatus == c_AlreadyThere && !run.output.contains(c_Created))
            error = QString("'%1' is already in %2 on the unit: the station does not replace a unit's own file, "
                            "so the unit's steps were not run")
                        .arg(file.name, CUnitTarget::c_ProgramFolder);
        else
            error = QString("cannot send '%1' to %2: %3").arg(file.name, CUnitTarget::c_ProgramFolder, Why(run));
        return false;
    }
    return true;
}

bool CUnitFiles::Remove(QString& error)
{
    QStringList left;
    for (const QString& name : m_Made)
    {
        const RunResult_T run = m_Runner.Run(m_Unit.RemoteShell("rm -f " + CUnitTarget::ShellQuoted(name)), c_Seconds,
                                             QString(), CStepRunner::CLEANUP);
        if (run.exitStatus != 0 || run.timedOut)
            left << QString("'%1' (%2)").arg(name, Why(run));
    }
    m_Made.clear();
    if (left.isEmpty())
        return true;
    error = QString("cannot remove from %1 on the unit: %2").arg(CUnitTarget::c_ProgramFolder, left.join(", "));
    return false;
}
