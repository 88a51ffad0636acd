// The folder the HTML report goes into. The station marks it as its own, and a
// new report replaces an earlier one whole: the new one is built beside it and
// swapped in, so no page of an earlier run survives and an interrupted write
// leaves the earlier report as it was.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <utility>
#include <vector>

class CReportFolder
{
public:
    explicit CReportFolder(const QString& path) : m_Path(path) {}

    // False with "PATH: why" when no report may go there: a file, a folder
    // holding anything but an earlier report of the station's, or no folder to
    // build it in.
    bool Check(QString& error) const;
    // FILES (name, bytes) become the folder's whole content.
    bool Replace(const std::vector<std::pair<QString, QByteArray>>& files, QString& error) const;
    // The same, the files handed over one at a time, so that a large report
    // never sits in memory whole. FILL gives each file to PUT and returns
    // false with a message to leave the earlier folder as it was.
    using Put_T = std::function<bool(const QString& name, const QByteArray& bytes, QString& error)>;
    bool Replace(const std::function<bool(const Put_T& put, QString& error)>& fill, QString& error) const;

    static const char* MarkerName() { return ".sonarstation-report"; }

private:
    QString Target() const;
    bool Build(const QString& folder, const std::function<bool(const Put_T& put, QString& error)>& fill,
               QString& error) const;
    static QString NewSibling(const QString& target, const char* kind);
    static bool Swap(const QString& built, const QString& target, QString& error);

    QString m_Path;
};
