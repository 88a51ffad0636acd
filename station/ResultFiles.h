// The result files a run or an export writes: the JSON document (or "-" for
// standard output), the JUnit file and the HTML report folder.
#pragma once

#include "StationResults.h"

#include <QString>

#include <cstdio>

class CResultFiles
{
public:
    CResultFiles(const QString& json, const QString& junit, const QString& report)
        : m_Json(json), m_Junit(junit), m_Report(report)
    {
    }

    // Before anything runs: false with "--json PATH: why" when one cannot be written.
    bool Check(QString& error) const;
    // Each file on its own, so one that cannot be written does not keep the
    // others back; where each went, or why not, is said on MESSAGES.
    bool Write(const StationResults_T& results, FILE* out, FILE* messages) const;

private:
    static bool CheckFile(const QString& option, const QString& path, QString& error);
    bool WriteJson(const StationResults_T& results, FILE* out, QString& error) const;

    QString m_Json;
    QString m_Junit;
    QString m_Report;
};
