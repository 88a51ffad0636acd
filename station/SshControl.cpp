#include "SshControl.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{
// ssh reads its own tokens (%h, ~) and blanks in a control path: a folder
// elsewhere is used.
bool Usable(const char* base)
{
    static const QRegularExpression plain("^/[A-Za-z0-9_./-]*$");
    if (!base || !*base)
        return false;
    const QString path = QString::fromLocal8Bit(base);
    return plain.match(path).hasMatch() && path.size() + 20 <= CSshControl::c_LongestFolder && QDir(path).exists();
}

// A master or check gets little time: it talks to a local process.
const double c_ControlSeconds = 10;
}

CSshControl::CSshControl(const std::vector<CUnitTarget>& units)
{
    const char* share = getenv("SONARSTATION_SSH_SHARE");
    if ((share && QByteArray(share) == "no") ||
        std::all_of(units.begin(), units.end(), [](const CUnitTarget& unit) { return unit.IsVirtual(); }))
        return;
    const char* base = "/tmp";
    for (const char* candidate : {getenv("XDG_RUNTIME_DIR"), getenv("TMPDIR")})
        if (Usable(candidate))
        {
            base = candidate;
            break;
        }
    // mkdtemp makes it 0700: only this user reaches the units through it.
    QByteArray path = QByteArray(base) + "/sonarstation-XXXXXX";
    if (!mkdtemp(path.data()))
    {
        m_Problem =
            QString("cannot make a folder for ssh's shared connections in %1 (%2): every ssh step connects anew")
                .arg(QString::fromLocal8Bit(base), QString::fromLocal8Bit(strerror(errno)));
        return;
    }
    m_Folder = QString::fromLocal8Bit(path);
}

CSshControl::~CSshControl()
{
    if (!m_Folder.isEmpty())
        QDir(m_Folder).removeRecursively();
}

void CSshControl::Share(CUnitTarget& unit, size_t slot) const
{
    if (!m_Folder.isEmpty() && !unit.IsVirtual())
        unit.ShareConnection(QString("%1/%2").arg(m_Folder).arg(slot));
}

bool CSshControl::Lost(const CUnitTarget& unit, const CStepRunner& runner) const
{
    if (unit.ControlPath().isEmpty())
        return true;
    const RunResult_T check =
        runner.Run(unit.ControlCommandLine("check"), c_ControlSeconds, QString(), CStepRunner::CLEANUP);
    return check.exitStatus != 0;
}

void CSshControl::Close(const CUnitTarget& unit, const CStepRunner& runner) const
{
    if (!unit.ControlPath().isEmpty() && QFile::exists(unit.ControlPath()))
        runner.Run(unit.ControlCommandLine("exit"), c_ControlSeconds, QString(), CStepRunner::CLEANUP);
}
