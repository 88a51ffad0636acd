#include "HtmlReport.h"

#include "HtmlPage.h"
#include "ReportFolder.h"

#include "SvgPlot.h"

#include <QDir>

#include <algorithm>

namespace
{
QString E(const QString& text)
{
    return CHtmlPage::Escape(text);
}

QString Page(const QString& title, const QString& body)
{
    return CHtmlPage::Page(title, body);
}

QString MetWord(bool met)
{
    return met ? "met" : "NOT met";
}
}

QString CHtmlReport::Outcome(const StepResult_T& step)
{
    if (step.verdict == "timeout" || step.verdict == "stopped")
        return "timeout";
    return step.met ? "met" : "unmet";
}

QString CHtmlReport::PageName(size_t unit, const StepResult_T& step)
{
    return QString("unit%1-%2.html").arg(unit + 1).arg(step.name);
}

QString CHtmlReport::Measured(const ExpectationResult_T& expectation)
{
    // A mean reads best to a few digits; the JSON file keeps every one.
    const QVariant& measured = expectation.measured;
    if (!measured.isValid())
        return "-";
    return measured.type() == QVariant::Double ? QString::number(measured.toDouble(), 'g', 6) : measured.toString();
}

QString CHtmlReport::Index(const StationResults_T& results) const
{
    const StepCounts_T counts = results.Count();
    // Text from outside is joined on, never passed to arg(): a "%1" in it stays as it is.
    QString body = QString("<p class=\"facts\">%1<br>Run %2 on station ")
                       .arg(results.met ? "Every expectation met." : "Expectations NOT met.",
                            results.started.toUTC().toString("yyyy-MM-dd HH:mm:ss 'UTC'"));
    body += E(results.host) + ", plan " + E(results.plan) +
            QString(", %1 s<br>%2 units, %3 steps: %4 met, %5 not met, %6 not run</p>\n")
                .arg(results.seconds, 0, 'f', 2)
                .arg(results.units.size())
                .arg(counts.steps)
                .arg(counts.met)
                .arg(counts.unmet)
                .arg(counts.notRun);
    body += UnitTable(results) + UnmetList(results) + Grid(results);
    return Page("Station report", body);
}

QString CHtmlReport::UnmetList(const StationResults_T& results) const
{
    QString rows;
    int count = 0;
    for (size_t u = 0; u < results.units.size(); ++u)
        for (const StepResult_T& step : results.units[u].steps)
            for (const ExpectationResult_T& expectation : step.expectations)
                if (!expectation.met)
                {
                    ++count;
                    rows += QString("<tr><td>%1</td><td><a href=\"%2\">%3</a></td><td>%4</td><td>%5</td>"
                                    "<td>%6</td></tr>\n")
                                .arg(E(results.units[u].unit), E(PageName(u, step)), E(step.name),
                                     E(expectation.Label()), E(expectation.expected), E(Measured(expectation)));
                }
    if (count == 0)
        return "<h2>Not met: none</h2>\n";
    return QString("<h2>Not met: %1</h2>\n<table class=\"unmet-list\">\n<tr><th>unit</th><th>step</th>"
                   "<th>expectation</th><th>expected</th><th>measured</th></tr>\n%2</table>\n")
        .arg(count)
        .arg(rows);
}

QString CHtmlReport::UnitTable(const StationResults_T& results) const
{
    QString body = "<h2>Units</h2>\n<table class=\"units\">\n<tr><th>unit</th><th>verdict</th><th>steps</th>"
                   "<th>met</th><th>not met</th></tr>\n";
    for (const UnitResult_T& unit : results.units)
    {
        const auto met =
            std::count_if(unit.steps.begin(), unit.steps.end(), [](const StepResult_T& s) { return s.met; });
        body += QString("<tr><th>%6</th><td class=\"%1\">%2</td><td>%3</td><td>%4</td><td>%5</td></tr>\n")
                    .arg(unit.met ? "met" : "unmet", MetWord(unit.met))
                    .arg(unit.steps.size())
                    .arg(met)
                    .arg(static_cast<long long>(unit.steps.size()) - met)
                    .arg(E(unit.unit));
    }
    return body + "</table>\n";
}

QString CHtmlReport::Grid(const StationResults_T& results) const
{
    // Steps down, units across: a long plan grows downwards only.
    size_t longest = 0;
    for (size_t u = 0; u < results.units.size(); ++u)
        if (results.units[u].steps.size() > results.units[longest].steps.size())
            longest = u;
    QString body = "<h2>Steps</h2>\n<table class=\"grid\">\n<tr><th>step</th>";
    for (const UnitResult_T& unit : results.units)
        body += "<th>" + E(unit.unit) + "</th>";
    body += "</tr>\n";
    const size_t rows = results.units.empty() ? 0 : results.units[longest].steps.size();
    for (size_t s = 0; s < rows; ++s)
    {
        body += "<tr><th>" + E(results.units[longest].steps[s].name) + "</th>";
        for (size_t u = 0; u < results.units.size(); ++u)
        {
            if (s >= results.units[u].steps.size())
            {
                body += "<td class=\"missing\">not run</td>";
                continue;
            }
            const StepResult_T& step = results.units[u].steps[s];
            body += QString("<td class=\"%1\"><a href=\"%2\">%3, %4</a></td>")
                        .arg(Outcome(step), E(PageName(u, step)), E(step.verdict), MetWord(step.met));
        }
        body += "</tr>\n";
    }
    return body + "</table>\n";
}

QString CHtmlReport::StepPage(const StationResults_T& results, size_t unit, size_t index) const
{
    const StepResult_T& step = results.units[unit].steps[index];
    QString body = QString("<p><a href=\"index.html\">All units</a></p>\n"
                           "<p>Command: <code>./sonarbench %2</code><br>Verdict: %3<br>Time: %1 s</p>\n")
                       .arg(step.seconds, 0, 'f', 2)
                       .arg(E(step.command.join(' ')), E(step.verdict));
    body += "<table>\n<tr><th>expectation</th><th>expected</th><th>measured</th><th>met</th></tr>\n";
    for (const ExpectationResult_T& expectation : step.expectations)
        body += QString("<tr><td>%1</td><td>%2</td><td>%3</td><td class=\"%4\">%5</td></tr>\n")
                    .arg(E(expectation.Label()), E(expectation.expected), E(Measured(expectation)),
                         expectation.met ? "met" : "unmet", expectation.met ? "yes" : "no");
    body += "</table>\n";
    const CSvgPlot plot;
    for (size_t b = 0; b < step.report.blocks.size(); ++b)
    {
        const SampleBlock_T& block = step.report.blocks[b];
        body += QString("<h2>Sample block %1: %2 samples</h2>\n").arg(b + 1).arg(block.samples.size());
        for (const QString& line : block.lines)
            body += "<p><code>" + E(line) + "</code></p>\n";
        // The sample expectations judge the first block only.
        if (b > 0)
            body += "<p>No expectation looks at this block.</p>\n";
        body += plot.Render(block, b == 0 ? step.expectations : std::vector<ExpectationResult_T>());
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
