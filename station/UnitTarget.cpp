#include "UnitTarget.h"

#include <QRegularExpression>

#include <cstdlib>

const char* const CUnitTarget::c_ProgramFolder = "/corvane/Test";

CUnitTarget CUnitTarget::Virtual(const QString& profile, const QString& vunit)
{
    CUnitTarget unit;
    unit.m_Name = profile;
    unit.m_Profile = profile;
    unit.m_Vunit = vunit;
    return unit;
}

CUnitTarget CUnitTarget::Lot(const QString& profile, int number, const QString& vunit)
{
    CUnitTarget unit = Virtual(profile, vunit);
    unit.m_Name = QString("%1#%2").arg(profile).arg(number);
    unit.m_LotNumber = number;
    return unit;
}

bool CUnitTarget::Ssh(const QString& target, CUnitTarget& unit, QString& error)
{
    static const QRegularExpression form("^(([A-Za-z0-9_.-]+)@)?([A-Za-z0-9_.-]+)(:([0-9]{1,5}))?$");
    const QRegularExpressionMatch match = form.match(target);
    if (!match.hasMatch() || match.captured(3).startsWith('-') ||
        (!match.captured(5).isEmpty() && (match.captured(5).toInt() < 1 || match.captured(5).toInt() > 65535)))
    {
        error = QString("--ssh takes [USER@]HOST[:PORT], not '%1'").arg(target);
        return false;
    }
    unit = CUnitTarget();
    unit.m_Name = "ssh:" + match.captured(3);
    unit.m_Host = match.captured(1) + match.captured(3);
    unit.m_Port = match.captured(5);
    return true;
}

QString CUnitTarget::ShellQuoted(const QString& word)
{
    static const QRegularExpression plain("^[A-Za-z0-9_./=:,+%@-]+$");
    if (plain.match(word).hasMatch())
        return word;
    QString quoted = word;
    quoted.replace("'", "'\\''");
    return "'" + quoted + "'";
}

QStringList CUnitTarget::CommandLine(const QStringList& command, const std::vector<PlanFile_T>& files) const
{
    if (IsVirtual())
    {
        QStringList line{m_Vunit};
        if (m_LotNumber > 0)
            line << "--lot-unit" << QString("%1:%2").arg(m_LotNumber).arg(m_Attempt);
        for (const PlanFile_T& file : files)
            line << "--beside" << file.path + "=" + file.name;
        // vunit refuses its own option names after the profile; "--" hands them on.
        line << m_Profile;
        if (!command.filter(QRegularExpression("^--")).isEmpty())
            line << "--";
        return line << command;
    }
    QString script = QString("./%1").arg(CPlan::c_Program);
    for (const QString& word : command)
        script += " " + ShellQuoted(word);
    return RemoteShell(script);
}

QStringList CUnitTarget::SshOptions() const
{
    // A unit that does not answer is given up on after a short wait, not the system's minutes.
    QStringList line{"ssh", "-o", "BatchMode=yes", "-o", "ConnectTimeout=10"};
    // A station whose units need their own client settings names a config file.
    const char* config = getenv("SONARSTATION_SSH_CONFIG");
    if (config && *config)
        line << "-F" << QString::fromLocal8Bit(config);
    if (!m_ControlPath.isEmpty())
        // The connection outlives each command; the station ends it, else it ends
        // itself a minute after its last command. A unit gone from the network
        // ends it in 15 s, so that its steps do not wait for their time limits.
        line << QStringList{"-o", "ControlMaster=auto",   "-o", "ControlPath=" + m_ControlPath,
                            "-o", "ControlPersist=60",    "-o", "ServerAliveInterval=5",
                            "-o", "ServerAliveCountMax=3"};
    if (!m_Port.isEmpty())
        line << "-p" << m_Port;
    return line;
}

QStringList CUnitTarget::RemoteShell(const QString& script) const
{
    return SshOptions() << m_Host << QString("cd %1 && %2").arg(c_ProgramFolder, script);
}

QStringList CUnitTarget::ControlCommandLine(const QString& request) const
{
    return SshOptions() << "-O" << request << m_Host;
}

QStringList CUnitTarget::ShellCommandLine(const QString& script) const
{
    if (!IsVirtual())
        return RemoteShell(script);
    QStringList line = CommandLine(QStringList());
    return line << "--run"
                << "/bin/sh"
                << "--"
                << "-c" << script;
}
