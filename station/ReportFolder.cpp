#include "ReportFolder.h"

#include "SaveFile.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char* const c_Marker = "sonarstation report: this folder is replaced whole by the next report\n";
}

QString CReportFolder::Target() const
{
    // Through a link to the folder: the report replaces the folder, not the link.
    const QFileInfo info(m_Path);
    return info.exists() ? info.canonicalFilePath() : QDir::cleanPath(info.absoluteFilePath());
}

bool CReportFolder::Check(QString& error) const
{
    const QString target = Target();
    const QFileInfo info(target);
    if (info.exists() && !info.isDir())
    {
        error = QString("%1: is a file, not a folder").arg(m_Path);
        return false;
    }
    if (info.exists())
    {
        const QStringList entries =
            QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
        if (!entries.isEmpty() && !entries.contains(MarkerName()))
        {
            error = QString("%1: holds files that are not a report of the station's; name a new or empty folder")
                        .arg(m_Path);
            return false;
        }
    }
    // The new report is built beside the folder, in the nearest folder that exists.
    QString parent = QFileInfo(target).absolutePath();
    while (!QFileInfo::exists(parent) && !QFileInfo(parent).isSymLink() && parent != "/")
        parent = QFileInfo(parent).absolutePath();
    if (!QFileInfo(parent).isDir())
    {
        error = QString("%1: %2 is not a folder").arg(m_Path, parent);
        return false;
    }
    if (!CanCreateIn(parent))
    {
        error = QString("%1: cannot write in %2, where the report is built").arg(m_Path, parent);
        return false;
    }
    return true;
}

QString CReportFolder::NewSibling(const QString& target, const char* kind)
{
    const QFileInfo info(target);
    for (int attempt = 0;; ++attempt)
    {
        const QString name =
            QString("%1/.%2.%3-%4-%5").arg(info.absolutePath(), info.fileName(), kind).arg(getpid()).arg(attempt);
        if (mkdir(QFile::encodeName(name).constData(), 0777) == 0 || errno != EEXIST)
            return name;
    }
}

bool CReportFolder::Build(const QString& folder, const std::function<bool(const Put_T& put, QString& error)>& fill,
                          QString& error) const
{
    if (!QFileInfo(folder).isDir())
    {
        error = QString("%1: cannot create %2").arg(m_Path, folder);
        return false;
    }
    const QDir dir(folder);
    const Put_T put = [&dir](const QString& name, const QByteArray& bytes, QString& why) {
        return SaveFile(dir.filePath(name), bytes, why);
    };
    return fill(put, error) && SaveFile(dir.filePath(MarkerName()), c_Marker, error);
}

bool CReportFolder::Swap(const QString& built, const QString& target, QString& error)
{
    const QByteArray from = QFile::encodeName(built);
    const QByteArray to = QFile::encodeName(target);
    if (!QFileInfo::exists(target))
    {
        if (rename(from.constData(), to.constData()) == 0)
            return true;
    }
    else if (renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_EXCHANGE) == 0)
        return true;
    else if (errno == EINVAL || errno == ENOSYS)
    {
        // A file system that cannot swap: the earlier report steps aside first.
        const QString aside = NewSibling(target, "old");
        rmdir(QFile::encodeName(aside).constData());
        const QByteArray old = QFile::encodeName(aside);
        if (rename(to.constData(), old.constData()) == 0)
        {
            if (rename(from.constData(), to.constData()) == 0)
            {
                QDir(aside).removeRecursively();
                return true;
            }
            const int saved = errno;
            rename(old.constData(), to.constData());
            errno = saved;
        }
    }
    error = QString("%1: %2").arg(target, strerror(errno));
    return false;
}

bool CReportFolder::Replace(const std::vector<std::pair<QString, QByteArray>>& files, QString& error) const
{
    return Replace(
        [&files](const Put_T& put, QString& why) {
            for (const auto& file : files)
                if (!put(file.first, file.second, why))
                    return false;
            return true;
        },
        error);
}

bool CReportFolder::Replace(const std::function<bool(const Put_T& put, QString& error)>& fill, QString& error) const
{
    if (!Check(error))
        return false;
    const QString target = Target();
    if (!QDir().mkpath(QFileInfo(target).absolutePath()))
    {
        error = QString("%1: cannot create %2").arg(m_Path, QFileInfo(target).absolutePath());
        return false;
    }
    const QString built = NewSibling(target, "new");
    const bool ok = Build(built, fill, error) && Swap(built, target, error);
    // On success this holds the earlier report; on failure the unfinished new one.
    QDir(built).removeRecursively();
    return ok;
}
