// Writes a result file whole or not at all, so a reader never sees half of it.
#pragma once

#include <QByteArray>
#include <QString>

bool SaveFile(const QString& path, const QByteArray& bytes, QString& error);
// Whether a file can be created in FOLDER: tried, not guessed from permissions.
bool CanCreateIn(const QString& folder);
