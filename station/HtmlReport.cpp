#include "HtmlReport.h"

#include "HtmlPage.h"
#include "ReportFolder.h"

#include "SvgPlot.h"

#include <QDir>

#include <algorithm>

namespace
{
// The live board's tiles and the running cells, beside the pages' common style.
const char* const c_BoardStyle =
    "div.board{display:flex;flex-wrap:wrap;gap:12px;margin-bottom:16px}"
    "div.tile{border:3px solid #888;border-radius:8px;padding:8px 20px;min-width:240px;text-align:center}"
    "div.tile div{margin:4px 0;overflow-wrap:anywhere}div.serial{font-size:40px;font-weight:bold}"
    "div.verdict{font-size:96px;font-weight:bold;line-height:1}div.count{font-size:32px}"
    "div.now,div.failed{font-size:24px}div.failed.some{color:#d0342c;font-weight:bold}"
    "td.running{background:#9cc3f0}div.tile.running{border-color:#3a78c9}"
    "div.tile.pass{background:#2e9e44;border-color:#2e9e44;color:#fff}"
    "div.tile.fail{background:#d0342c;border-color:#d0342c;color:#fff}";

// While the run lasts the index reloads itself, so a screen across the bench follows it.
const char* const c_Refresh = "<meta http-equiv=\"refresh\" content=\"2\">";

QString E(const QString& text)
{
    return CHtmlPage::Escape(text);
}

QString Page(const QString& title, const QString& body, const QString& head = QString())
{
    return CHtmlPage::Page(title, body, c_BoardStyle, head);
}

QString Serial(const UnitResult_T& unit)
{
    return unit.serial.isEmpty() ? QString("no serial") : E(QString::fromUtf8(unit.serial));
}

size_t Failed(const UnitResult_T& unit)
{
    return static_cast<size_t>(
        std::count_if(unit.steps.begin(), unit.steps.end(), [](const StepResult_T& s) { return !s.met; }));
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
    if (step.verdict == c_SkippedVerdict)
        return "missing";
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
    std::vector<UnitProgress_T> finished(results.units.size());
    for (UnitProgress_T& unit : finished)
        unit.finished = true;
    return Page("Station report", Board(results, finished, 0) + body);
}

QString CHtmlReport::LiveIndex(const StationResults_T& results, const std::vector<UnitProgress_T>& progress,
                               const QStringList& planSteps) const
{
    const StepCounts_T counts = results.Count();
    QString body = QString("<p class=\"facts\">Running since %1 on station ")
                       .arg(results.started.toUTC().toString("yyyy-MM-dd HH:mm:ss 'UTC'"));
    body += E(results.host) + ", plan " + E(results.plan) +
            QString(", %1 s so far<br>%2 units, %3 of %4 steps done: %5 met, %6 not met, %7 not run</p>\n")
                .arg(results.seconds, 0, 'f', 2)
                .arg(results.units.size())
                .arg(counts.steps)
                .arg(results.units.size() * planSteps.size())
                .arg(counts.met)
                .arg(counts.unmet)
                .arg(counts.notRun);
    body += UnmetList(results) + Grid(results, &progress, planSteps);
    return Page("Station report", Board(results, progress, planSteps.size()) + body, c_Refresh);
}

QString CHtmlReport::Board(const StationResults_T& results, const std::vector<UnitProgress_T>& progress,
                           size_t planSteps) const
{
    QString body = "<div class=\"board\">\n";
    for (size_t u = 0; u < results.units.size(); ++u)
    {
        const UnitResult_T& unit = results.units[u];
        const UnitProgress_T state = u < progress.size() ? progress[u] : UnitProgress_T();
        if (state.finished)
        {
            const bool pass = unit.met && !unit.aborted;
            body += QString("<div class=\"tile %1\"><div class=\"serial\">%2</div><div class=\"verdict\">%3</div>"
                            "<div class=\"unit\">%4</div></div>\n")
                        .arg(pass ? "pass" : "fail", Serial(unit), pass ? "PASS" : "FAIL", E(unit.unit));
            continue;
        }
        const size_t failed = Failed(unit);
        // After its last step a unit still has the plan's files to remove.
        const QString now = !state.started            ? QString("waiting")
                            : state.running.isEmpty() ? QString("finishing")
                                                      : "now: " + E(state.running);
        body += QString("<div class=\"tile running\"><div class=\"serial\">%1</div><div class=\"count\">%2 of %3 "
                        "steps</div><div class=\"now\">%4</div><div class=\"failed%5\">%6 failed</div>"
                        "<div class=\"unit\">%7</div></div>\n")
                    .arg(Serial(unit), QString::number(unit.steps.size()), QString::number(planSteps), now,
                         QString(failed ? " some" : ""), QString::number(failed), E(unit.unit));
    }
    return body + "</div>\n";
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

QString CHtmlReport::Grid(const StationResults_T& results, const std::vector<UnitProgress_T>* progress,
                          const QStringList& planSteps) const
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
    const size_t done = results.units.empty() ? 0 : results.units[longest].steps.size();
    const size_t rows = std::max(done, static_cast<size_t>(planSteps.size()));
    for (size_t s = 0; s < rows; ++s)
    {
        const QString& name = s < done ? results.units[longest].steps[s].name : planSteps[static_cast<int>(s)];
        body += "<tr><th>" + E(name) + "</th>";
        for (size_t u = 0; u < results.units.size(); ++u)
        {
            if (s >= results.units[u].steps.size())
            {
                // While the run lasts a cell with no step yet is still to come.
                const UnitProgress_T* unit = progress && u < progress->size() ? &(*progress)[u] : nullptr;
                const bool running = unit && unit->started && !unit->finished && s == results.units[u].steps.size();
                body += !unit || unit->finished ? "<td class=\"missing\">not run</td>"
                        : running               ? "<td class=\"running\">running</td>"
                                                : "<td class=\"missing\">to come</td>";
                continue;
            }
            const StepResult_T& step = results.units[u].steps[s];
            const QString tries = step.earlier.empty() ? QString() : QString(", try %1").arg(step.tryNumber);
            body += QString("<td class=\"%1\"><a href=\"%2\">%3, %4%5</a></td>")
                        .arg(Outcome(step), E(PageName(u, step)), E(step.verdict), MetWord(step.met), tries);
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
    body += EarlierTries(step);
    return Page(QString("%1: %2").arg(results.units[unit].unit, step.name), body);
}

QString CHtmlReport::EarlierTries(const StepResult_T& step) const
{
    QString body;
    for (const StepResult_T& before : step.earlier)
    {
        body += QString("<h2>Try %1 of %2: %4, %5 (%3 s)</h2>\n")
                    .arg(before.tryNumber)
                    .arg(step.tryNumber)
                    .arg(before.seconds, 0, 'f', 2)
                    .arg(E(before.verdict), MetWord(before.met));
        body += "<table>\n<tr><th>expectation</th><th>expected</th><th>measured</th><th>met</th></tr>\n";
        for (const ExpectationResult_T& expectation : before.expectations)
            body += QString("<tr><td>%1</td><td>%2</td><td>%3</td><td class=\"%4\">%5</td></tr>\n")
                        .arg(E(expectation.Label()), E(expectation.expected), E(Measured(expectation)),
                             expectation.met ? "met" : "unmet", expectation.met ? "yes" : "no");
        body += "</table>\n<pre>" + E(QString::fromUtf8(before.text)) + "</pre>\n";
    }
    return body;
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
