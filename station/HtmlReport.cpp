#include "HtmlReport.h"

#include "ReportFolder.h"

#include "SvgPlot.h"

#include <QDir>

namespace
{
const char* const c_Style =
    "body{font-family:sans-serif;margin:16px;color:#111}"
    "table{border-collapse:collapse}td,th{border:1px solid #888;padding:4px 8px;text-align:left}"
    "td.met{background:#8fd19e}td.unmet{background:#f19a94}td.timeout{background:#f6c26b}"
    "td a{color:#111;display:block}pre{background:#f4f4f4;padding:8px;overflow-x:auto}";

QString E(const QString& text)
{
    return text.toHtmlEscaped();
}

QString Page(const QString& title, const QString& body)
{
    return QString("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>%1</title>"
                   "<style>%2</style></head>\n<body>\n<h1>%1</h1>\n%3</body></html>\n")
        .arg(E(title), c_Style, body);
}

}

QString CHtmlReport::Outcome(const StepResult_T& step)
{
    if (step.verdict == "timeout")
        return "timeout";
    return step.met ? "met" : "unmet";
}

QString CHtmlReport::PageName(size_t unit, const StepResult_T& step)
{
    return QString("unit%1-%2.html").arg(unit + 1).arg(step.name);
}

QString CHtmlReport::Index(const StationResults_T& results) const
{
    QString body = QString("<p>Plan %1: %2 (%3 s)</p>\n<table>\n<tr><th>unit</th>")
                       .arg(E(results.plan), results.met ? "every expectation met" : "expectations NOT met")
                       .arg(results.seconds, 0, 'f', 2);
    if (!results.units.empty())
        for (const StepResult_T& step : results.units.front().steps)
            body += "<th>" + E(step.name) + "</th>";
    body += "</tr>\n";
    for (size_t u = 0; u < results.units.size(); ++u)
    {
        body += "<tr><th>" + E(results.units[u].unit) + "</th>";
        for (const StepResult_T& step : results.units[u].steps)
            body += QString("<td class=\"%1\"><a href=\"%2\">%3 %4</a></td>")
                        .arg(Outcome(step), PageName(u, step), E(step.verdict), step.met ? "" : "(not met)");
        body += "</tr>\n";
    }
    return Page("Station report", body + "</table>\n");
}

QString CHtmlReport::StepPage(const StationResults_T& results, size_t unit, size_t index) const
{
    const StepResult_T& step = results.units[unit].steps[index];
    QString body = QString("<p><a href=\"index.html\">All units</a></p>\n"
                           "<p>Command: <code>./sonarbench %1</code><br>Verdict: %2<br>Time: %3 s</p>\n")
                       .arg(E(step.command.join(' ')), E(step.verdict))
                       .arg(step.seconds, 0, 'f', 2);
    body += "<table>\n<tr><th>expectation</th><th>expected</th><th>measured</th><th>met</th></tr>\n";
    for (const ExpectationResult_T& expectation : step.expectations)
    {
        // A mean reads best to a few digits; the JSON file keeps every one.
        const QVariant& measured = expectation.measured;
        const QString shown = !measured.isValid()                   ? QString("-")
                              : measured.type() == QVariant::Double ? QString::number(measured.toDouble(), 'g', 6)
                                                                    : measured.toString();
        body += QString("<tr><td>%1</td><td>%2</td><td>%3</td><td class=\"%4\">%5</td></tr>\n")
                    .arg(E(expectation.Label()), E(expectation.expected), E(shown), expectation.met ? "met" : "unmet",
                         expectation.met ? "yes" : "no");
    }
    body += "</table>\n";
    const CSvgPlot plot;
    for (size_t b = 0; b < step.report.blocks.size(); ++b)
    {
        const SampleBlock_T& block = step.report.blocks[b];
        body += QString("<h2>Sample block %1: %2 samples</h2>\n").arg(b + 1).arg(block.samples.size());
        for (const QString& line : block.lines)
            body += "<p><code>" + E(line) + "</code></p>\n";
        body += plot.Render(block, step.expectations);
    }
    if (!step.report.errors.isEmpty())
        body += "<h2>Errors</h2>\n<pre>" + E(step.report.errors.join('\n')) + "</pre>\n";
    body += "<h2>Report</h2>\n<pre>" + E(QString::fromUtf8(step.text)) + "</pre>\n";
    if (!step.errors.isEmpty())
        body += "<h2>Standard error</h2>\n<pre>" + E(QString::fromUtf8(step.errors)) + "</pre>\n";
    return Page(QString("%1: %2").arg(results.units[unit].unit, step.name), body);
}

bool CHtmlReport::Write(const QString& dir, const StationResults_T& results, QString& error) const
{
    std::vector<std::pair<QString, QByteArray>> pages;
    for (size_t u = 0; u < results.units.size(); ++u)
        for (size_t s = 0; s < results.units[u].steps.size(); ++s)
            pages.emplace_back(PageName(u, results.units[u].steps[s]), StepPage(results, u, s).toUtf8());
    pages.emplace_back("index.html", Index(results).toUtf8());
    return CReportFolder(dir).Replace(pages, error);
}
