// Where a plan's steps run: a fresh virtual unit per step, or a real unit over ssh.
#pragma once

#include "Plan.h"

#include <QString>
#include <QStringList>

class CUnitTarget
{
public:
    static CUnitTarget Virtual(const QString& profile, const QString& vunit);
    // Unit NUMBER of a virtual production lot of PROFILE, named PROFILE#NUMBER.
    static CUnitTarget Lot(const QString& profile, int number, const QString& vunit);
    // TARGET is [USER@]HOST[:PORT]; false with a message when it is not.
    static bool Ssh(const QString& target, CUnitTarget& unit, QString& error);

    const QString& Name() const { return m_Name; }
    bool IsVirtual() const { return m_Host.isEmpty(); }
    // A lot unit's steps see the noise of this attempt (from 1).
    void SetAttempt(int attempt) { m_Attempt = attempt; }

    // The serial the operator gave for the unit (a scanned label).
    void SetOperatorSerial(const QByteArray& serial)
    {
        m_OperatorSerial = serial;
        m_HasOperatorSerial = true;
    }
    bool HasOperatorSerial() const { return m_HasOperatorSerial; }
    const QByteArray& OperatorSerial() const { return m_OperatorSerial; }
    // The program and arguments that run "./sonarbench COMMAND..." on the unit;
    // a virtual unit shows the plan's files beside the program (an ssh unit gets copies).
    QStringList CommandLine(const QStringList& command, const std::vector<PlanFile_T>& files = {}) const;
    // ssh units: the program and arguments that run a shell script in the program's folder.
    QStringList RemoteShell(const QString& script) const;
    // ssh units: every command goes through one connection, the first opens it.
    void ShareConnection(const QString& controlPath) { m_ControlPath = controlPath; }
    const QString& ControlPath() const { return m_ControlPath; }
    // ssh -O REQUEST to the unit's shared connection (check, exit).
    QStringList ControlCommandLine(const QString& request) const;

    // Where the program lies on a real unit.
    static const char* const c_ProgramFolder;
    // Runs a shell script on the unit through its own transport; a virtual
    // unit runs it in the profile's sandbox.
    QStringList ShellCommandLine(const QString& script) const;

    static QString ShellQuoted(const QString& word);

private:
    QString m_Name;
    QString m_Vunit;  // virtual units
    QString m_Profile;
    int m_LotNumber = 0;  // 0: not a lot unit
    int m_Attempt = 1;
    QByteArray m_OperatorSerial;
    bool m_HasOperatorSerial = false;
    QString m_Host;  // ssh units: [USER@]HOST
    QString m_Port;
    QString m_ControlPath;  // empty: each command connects anew

    QStringList SshOptions() const;
};
