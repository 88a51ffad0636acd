#include "ResultFiles.h"

#include "HtmlReport.h"
#include "JsonWriter.h"
#include "JunitWriter.h"
#include "ReportFolder.h"
#include "SaveFile.h"

#include <QFileInfo>

#include <cerrno>
#include <cstring>

bool CResultFiles::CheckFile(const QString& option, const QString& path, QString& error)
{
    const QFileInfo file(path);
    const QFileInfo folder(file.absolutePath());
    if (file.isDir())
        error = QString("%1 %2: is a folder; name a file").arg(option, path);
    else if (!folder.isDir())
        error = QString("%1 %2: there is no folder %3").arg(option, path, folder.filePath());
    else if (!CanCreateIn(folder.filePath()))
        error = QString("%1 %2: cannot write in %3").arg(option, path, folder.filePath());
    else
        return true;
    return false;
}

bool CResultFiles::Check(QString& error) const
{
    if (!m_Json.isEmpty() && m_Json != "-" && !CheckFile("--json", m_Json, error))
        return false;
    if (!m_Junit.isEmpty() && !CheckFile("--junit", m_Junit, error))
        return false;
    if (!m_Report.isEmpty() && !CReportFolder(m_Report).Check(error))
    {
        error = "--report " + error;
        return false;
    }
    return true;
}

bool CResultFiles::WriteJson(const StationResults_T& results, FILE* out, QString& error) const
{
    if (m_Json != "-")
        return CJsonWriter().Write(m_Json, results, error);
    const QByteArray document = CJsonWriter().Document(results);
    if (fwrite(document.constData(), 1, static_cast<size_t>(document.size()), out) ==
            static_cast<size_t>(document.size()) &&
        fflush(out) == 0)
        return true;
    error = QString("standard output: %1").arg(strerror(errno));
    return false;
}

bool CResultFiles::Write(const StationResults_T& results, FILE* out, FILE* messages) const
{
    bool ok = true;
    auto outcome = [&](bool written, const QString& what, const QString& where, const QString& error) {
        // A reader that went away costs the line, never the files.
        fprintf(messages, "%s\n",
                (written ? QString("%1 written to %2").arg(what, where) : "sonarstation: " + error)
                    .toLocal8Bit()
                    .constData());
        fflush(messages);
        ok = ok && written;
    };
    QString error;
    if (!m_Json.isEmpty())
        outcome(WriteJson(results, out, error), "JSON",
                m_Json == "-" ? QString("standard output") : QFileInfo(m_Json).absoluteFilePath(), error);
    if (!m_Junit.isEmpty())
        outcome(CJunitWriter().Write(m_Junit, results, error), "JUnit", QFileInfo(m_Junit).absoluteFilePath(), error);
    if (!m_Report.isEmpty())
        outcome(CHtmlReport().Write(m_Report, results, error), "HTML report",
                QFileInfo(m_Report).absoluteFilePath() + "/index.html", error);
    return ok;
}
