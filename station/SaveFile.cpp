#include "SaveFile.h"

#include <QDir>
#include <QSaveFile>
#include <QTemporaryFile>

bool SaveFile(const QString& path, const QByteArray& bytes, QString& error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) < 0 || !file.commit())
    {
        error = QString("%1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool CanCreateIn(const QString& folder)
{
    QTemporaryFile probe(QDir(folder).filePath(".sonarstation-probe-XXXXXX"));
    return probe.open();
}
