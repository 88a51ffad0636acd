#include "DashboardUnitPage.h"

#include "HistoryFormat.h"
#include "HtmlPage.h"
#include "HtmlReport.h"
#include "SvgPlot.h"

#include <QCryptographicHash>

namespace
{
QString E(const QString& text)
{
    return CHtmlPage::Escape(text);
}

QString Time(const QDateTime& time)
{
    return time.isValid() ? time.toUTC().toString("yyyy-MM-dd HH:mm:ss") : QString("-");
}
}

QString CDashboardUnitPage::PageName(const QByteArray& serial)
{
    QString slug;
    for (const char c : serial.left(32))
        slug += (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ? QChar(c)
                                                                                                       : QChar('_');
    const QByteArray hash = QCryptographicHash::hash(serial, QCryptographicHash::Sha256).toHex().left(12);
    return "unit-" + slug + "-" + QString::fromLatin1(hash) + ".html";
}

QString CDashboardUnitPage::Printable(const QByteArray& serial)
{
    return CHistoryFormat::Printable(QString::fromUtf8(serial));
}

QString CDashboardUnitPage::ResultClass(const QString& result)
{
    return result == "passed" ? "met" : result == "failed" ? "unmet" : "missing";
}

QString CDashboardUnitPage::RunTable(const DashboardUnit_T& unit) const
{
    QString rows;
    for (size_t i = 0; i < unit.runs.size(); ++i)
    {
        const DashboardRun_T& run = unit.runs[i];
        rows += QString("<tr><td><a href=\"#run%1\">%2</a></td><td>").arg(i + 1).arg(Time(run.run.started)) +
                E(run.run.planName) + "</td><td>" + E(run.station) + "</td><td>" + E(run.run.unit) +
                (run.run.isVirtual ? " (virtual)" : "") + "</td><td>" + E(run.run.product) + "</td><td>" +
                (run.run.attempt.isValid() ? QString::number(run.run.attempt.toInt()) : QString("-")) +
                "</td><td class=\"" + ResultClass(run.run.result) + "\">" + E(run.run.result) + "</td></tr>\n";
    }
    return "<h2>Runs</h2>\n<table class=\"runs\">\n<tr><th>started (UTC)</th><th>plan</th><th>station</th>"
           "<th>unit</th><th>product</th><th>attempt</th><th>result</th></tr>\n" +
           rows + "</table>\n";
}

QString CDashboardUnitPage::RunSection(const DashboardRun_T& run, size_t number) const
{
    QString body = QString("<h2 id=\"run%1\">Run %1, %2 UTC: ").arg(number).arg(Time(run.run.started)) +
                   E(run.run.result) + "</h2>\n<p class=\"facts\">Run " + E(run.run.id) + " of plan " +
                   E(run.run.planName) + " on station " + E(run.station) + "</p>\n";
    if (!run.run.unreachable.isEmpty())
        body += "<p>Not reached: " + E(run.run.unreachable) + "</p>\n";
    if (!run.run.unitError.isEmpty())
        body += "<p>" + E(run.run.unitError) + "</p>\n";
    body += "<table class=\"steps\">\n<tr><th>step</th><th>try</th><th>verdict</th><th>expectation</th>"
            "<th>expected</th><th>measured</th><th>met</th></tr>\n";
    QString plots;
    const CSvgPlot plot;
    for (const DashboardStep_T& step : run.steps)
    {
        const QString head =
            "<tr><td>" + E(step.step.name) +
            QString("</td><td>%1</td><td class=\"%2\">").arg(step.tryNumber).arg(step.step.met ? "met" : "unmet") +
            E(step.step.verdict) + "</td>";
        std::vector<ExpectationResult_T> expectations;
        for (const MeasurementRecord_T& m : step.step.measurements)
        {
            expectations.push_back(m.Result());
            const ExpectationResult_T& e = expectations.back();
            body += head + "<td>" + E(e.Label()) + "</td><td>" + E(e.expected) + "</td><td>" +
                    E(CHtmlReport::Measured(e)) +
                    QString("</td><td class=\"%1\">%2</td></tr>\n").arg(e.met ? "met" : "unmet", e.met ? "yes" : "no");
        }
        if (expectations.empty())
            body += head + "<td>-</td><td>-</td><td>-</td><td>-</td></tr>\n";
        for (size_t b = 0; b < step.blocks.size(); ++b)
        {
            const SampleBlock_T& block = step.blocks[b];
            plots += "<h3>" + E(step.step.name) +
                     QString(", try %1: sample block %2, %3 samples</h3>\n")
                         .arg(step.tryNumber)
                         .arg(b + 1)
                         .arg(block.samples.size());
            for (const QString& line : block.lines)
                plots += "<p><code>" + E(line) + "</code></p>\n";
            // The sample expectations judge the first block only.
            plots += plot.Render(block, b == 0 ? expectations : std::vector<ExpectationResult_T>());
        }
    }
    return body + "</table>\n" + plots;
}

QString CDashboardUnitPage::Render(const DashboardUnit_T& unit) const
{
    QString body = QString("<p><a href=\"index.html\">Dashboard</a> | <a href=\"units.html\">All units</a></p>\n"
                           "<p class=\"facts\">%1 run(s) in the window, oldest first.</p>\n")
                       .arg(unit.runs.size());
    body += RunTable(unit);
    for (size_t i = 0; i < unit.runs.size(); ++i)
        body += RunSection(unit.runs[i], i + 1);
    return CHtmlPage::Page("Unit " + Printable(unit.serial), body);
}
