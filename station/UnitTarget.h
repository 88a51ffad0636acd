// Where a plan's steps run: a fresh virtual unit per step, or a real unit over ssh.
#pragma once

#include "Plan.h"

#include <QString>
#include <QStringList>

class CUnitTarget
{
public:
    static CUnitTarget Virtual(const QString& profile, const QString& vunit);
    // TARGET is [USER@]HOST[:PORT]; false with a message when it is not.
    static bool Ssh(const QString& target, CUnitTarget& unit, QString& error);

    const QString& Name() const { return m_Name; }
    bool IsVirtual() const { return m_Host.isEmpty(); }
    // The program and arguments that run "./sonarbench COMMAND..." on the unit;
    // a virtual unit shows the plan's files beside the program (an ssh unit gets copies).
    QStringList CommandLine(const QStringList& command, const std::vector<PlanFile_T>& files = {}) const;
    // ssh units: the program and arguments that run a shell script in the program's folder.
    QStringList RemoteShell(const QString& script) const;

    // Where the program lies on a real unit.
    static const char* const c_ProgramFolder;
    // For an ssh unit: a command that only logs in, so that an unreachable
    // unit shows once, before its steps; empty for a virtual unit.
    QStringList ProbeCommandLine() const;

    static QString ShellQuoted(const QString& word);

private:
    QString m_Name;
    QString m_Vunit;  // virtual units
    QString m_Profile;
    QString m_Host;  // ssh units: [USER@]HOST
    QString m_Port;
};
