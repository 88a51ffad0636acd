#include "SaveFile.h"

#include <QSaveFile>

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
