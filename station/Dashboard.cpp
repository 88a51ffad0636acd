#include "Dashboard.h"

#include "Analytics.h"
#include "DashboardCharts.h"
#include "DashboardUnitPage.h"
#include "DashboardUnits.h"
#include "HistoryFormat.h"
#include "HtmlPage.h"
#include "ReportFolder.h"
#include "UnitPageWriter.h"

#include <algorithm>
#include <map>

namespace
{
// Cpk below 1.0 is red, below 1.33 amber; bars of the Pareto in the unmet red.
const char* const c_Style = "tr.cpk-red td{background:#f19a94}tr.cpk-amber td{background:#f6c26b}"
                            "td.bar{width:40%}td.bar div{background:#d0342c;height:12px}"
                            "td.number{text-align:right}";

QString E(const QString& text)
{
    return CHtmlPage::Escape(text);
}

QString Share(const std::optional<double>& share)
{
    return share ? QString::number(*share * 100, 'f', 1) + " %" : QString("-");
}

QString Value(const std::optional<double>& value)
{
    return value ? QString::number(*value, 'g', 6) : QString("-");
}

QString Label(const MeasurementId_T& id)
{
    return id.from > 0 ? QString("%1 from %2").arg(id.key).arg(id.from) : id.key;
}

QStringList Key(const MeasurementId_T& id)
{
    return {id.plan, id.step, id.key, QString::number(id.from)};
}

QString Time(const QDateTime& time)
{
    return time.isValid() ? time.toUTC().toString("yyyy-MM-dd HH:mm:ss") : QString("-");
}
}

QString CDashboard::Window(const AnalyticsFilter_T& filter)
{
    QString text = "Plan " + (filter.plan.isEmpty() ? QString("any") : E(filter.plan)) + ", runs started ";
    text += filter.since.isValid() ? "from " + Time(filter.since) + " UTC" : QString("from the first");
    text += filter.until.isValid() ? " until before " + Time(filter.until) + " UTC" : QString(" on");
    return "<p class=\"facts\">" + text +
           (filter.withVirtual ? ", virtual units included." : ", virtual units left out.") + "</p>\n";
}

QString CDashboard::YieldSection(const YieldReport_T& yield)
{
    const YieldRow_T& t = yield.total;
    QString body = "<h2>Yield</h2>\n<table class=\"yield\">\n<tr><th>units</th><th>runs</th><th>FPY</th><th>SPY</th>"
                   "<th>TPY</th><th>LPY</th><th>run yield</th></tr>\n";
    body += QString("<tr><td class=\"number\">%1</td><td class=\"number\">%2</td><td>%3</td><td>%4</td><td>%5</td>"
                    "<td>%6</td><td>%7</td></tr>\n</table>\n")
                .arg(t.units)
                .arg(t.runs)
                .arg(Share(t.fpy), Share(t.spy), Share(t.tpy), Share(t.lpy), Share(t.runYield));
    body += "<h2>First-pass and last-pass yield per day</h2>\n";
    if (yield.groups.empty())
        return body + "<p>No unit had its first attempt in the window.</p>\n";
    return body + CDashboardCharts::Yield(yield.groups);
}

QString CDashboard::ParetoSection(const std::vector<ParetoRow_T>& pareto)
{
    if (pareto.empty())
        return "<h2>Failures by first failing step: none</h2>\n";
    long long most = 1;
    for (const ParetoRow_T& row : pareto)
        most = std::max(most, row.failures);
    QString body = "<h2>Failures by first failing step</h2>\n<table class=\"pareto\">\n<tr><th>plan</th><th>step</th>"
                   "<th>expectation</th><th>failures</th><th></th></tr>\n";
    for (const ParetoRow_T& row : pareto)
        body +=
            "<tr><td>" + E(row.plan) + "</td><td>" + E(row.step) + "</td><td>" + E(row.key) +
            QString("</td><td class=\"number\">%1</td><td class=\"bar\"><div style=\"width:%2%\"></div></td>"
                    "</tr>\n")
                .arg(row.failures)
                .arg(QString::number(100.0 * static_cast<double>(row.failures) / static_cast<double>(most), 'f', 1));
    return body + "</table>\n";
}

QString CDashboard::CapabilitySection(const std::vector<CapabilityRow_T>& capability)
{
    if (capability.empty())
        return "<h2>Capability: no numeric measurement</h2>\n";
    QString body = "<h2>Capability</h2>\n<table class=\"capability\">\n<tr><th>plan</th><th>step</th>"
                   "<th>measurement</th><th>n</th><th>mean</th><th>s</th><th>sw</th><th>LSL</th><th>USL</th>"
                   "<th>Cp</th><th>Cpk</th><th>Pp</th><th>Ppk</th><th>outside</th></tr>\n";
    for (size_t i = 0; i < capability.size(); ++i)
    {
        const CapabilityRow_T& row = capability[i];
        const QString colour = !row.cpk          ? ""
                               : *row.cpk < 1.0  ? " class=\"cpk-red\""
                               : *row.cpk < 1.33 ? " class=\"cpk-amber\""
                                                 : "";
        body += "<tr" + colour + "><td>" + E(row.id.plan) + "</td><td>" + E(row.id.step) + "</td><td><a href=\"" +
                ControlPageName(i + 1) + "\">" + E(Label(row.id)) + "</a></td>" +
                QString("<td class=\"number\">%1</td>").arg(row.n);
        for (const std::optional<double>& value :
             {row.mean, row.s, row.sw, row.lsl, row.usl, row.cp, row.cpk, row.pp, row.ppk})
            body += "<td class=\"number\">" + Value(value) + "</td>";
        body += QString("<td class=\"number\">%1</td></tr>\n").arg(row.failures);
    }
    return body + "</table>\n";
}

QString CDashboard::Index(const AnalyticsFilter_T& filter, const YieldReport_T& yield,
                          const std::vector<CapabilityRow_T>& capability, const AnalyticsFilter_T& pages,
                          long long units)
{
    QString body = Window(filter) + QString("<p><a href=\"units.html\">%1 unit(s)</a> with a page each").arg(units);
    body += pages.since != filter.since ? ", those that ran from " + Time(pages.since) + " UTC on.</p>\n"
                                        : QString(".</p>\n");
    body += YieldSection(yield) + ParetoSection(yield.pareto) + CapabilitySection(capability);
    return CHtmlPage::Page("Production dashboard", body, c_Style);
}

QString CDashboard::ControlPageName(size_t row)
{
    return QString("control-%1.html").arg(row);
}

QString CDashboard::FlagTable(const ControlChart_T& chart, size_t first, const AnalyticsFilter_T& pages)
{
    QString rows;
    size_t number = 0;
    size_t earlier = 0;
    for (size_t i = 0; i < chart.points.size(); ++i)
    {
        const ControlPoint_T& point = chart.points[i];
        if (point.rules.isEmpty())
            continue;
        ++number;
        if (i < first)
        {
            ++earlier;
            continue;
        }
        const QString serial = E(CDashboardUnitPage::Printable(point.serial));
        const bool paged = !pages.since.isValid() || point.time >= pages.since;
        rows +=
            QString("<tr><td class=\"number\">%1</td><td class=\"number\">%2</td><td>").arg(number).arg(point.index) +
            (paged ? "<a href=\"" + CDashboardUnitPage::PageName(point.serial) + "\">" + serial + "</a>" : serial) +
            "</td><td>" + E(point.runId) + "</td><td>" + Time(point.time) + "</td><td class=\"number\">" +
            QString::number(point.value, 'g', 6) + "</td><td>" + E(point.rules.join(", ")) + "</td></tr>\n";
    }
    if (number == 0)
        return "<h2>Flagged points: none</h2>\n";
    QString body = QString("<h2>Flagged points: %1</h2>\n").arg(number);
    if (earlier > 0)
        body += QString("<p>%1 of them before the points drawn.</p>\n").arg(earlier);
    return body +
           "<table class=\"flags\">\n<tr><th>flag</th><th>point</th><th>serial</th><th>run</th>"
           "<th>started (UTC)</th><th>value</th><th>rules</th></tr>\n" +
           rows + "</table>\n";
}

QString CDashboard::ControlPage(const AnalyticsFilter_T& filter, const ControlChart_T& chart, size_t row,
                                const AnalyticsFilter_T& pages)
{
    const size_t first = chart.points.size() > MaxPoints() ? chart.points.size() - MaxPoints() : 0;
    QString body = "<p><a href=\"index.html\">Dashboard</a></p>\n" + Window(filter);
    body += "<p class=\"facts\">Plan " + E(chart.id.plan.isEmpty() ? QString("any") : chart.id.plan) +
            QString(", %1 point(s) in time order; centre line and limits from the first %2.")
                .arg(chart.points.size())
                .arg(chart.baseline);
    if (first > 0)
        body += QString(" Drawn: the last %1, from point %2.").arg(MaxPoints()).arg(chart.points[first].index);
    body += "<br>Individuals: CL " + Value(chart.centre) + ", UCL " + Value(chart.ucl) + ", LCL " + Value(chart.lcl) +
            "<br>Moving range: MR " + Value(chart.mrCentre) + ", UCL " + Value(chart.mrUcl) + "</p>\n";
    if (chart.points.empty())
        body += "<p>No value in the window.</p>\n";
    body += CDashboardCharts::Control(chart, first) + FlagTable(chart, first, pages);
    return CHtmlPage::Page(QString("Control chart %1: %2, %3").arg(row).arg(chart.id.step, Label(chart.id)), body,
                           c_Style);
}

QString CDashboard::UnitRow(const DashboardUnit_T& unit)
{
    if (unit.runs.empty())
        return QString();
    const DashboardRun_T& last = unit.runs.back();
    return "<tr><td><a href=\"" + CDashboardUnitPage::PageName(unit.serial) + "\">" +
           E(CDashboardUnitPage::Printable(unit.serial)) + "</a></td><td>" + E(last.run.product) +
           QString("</td><td class=\"number\">%1</td><td>%2</td><td class=\"%3\">")
               .arg(unit.runs.size())
               .arg(Time(last.run.started), CDashboardUnitPage::ResultClass(last.run.result)) +
           E(last.run.result) + "</td></tr>\n";
}

QString CDashboard::UnitsPage(const AnalyticsFilter_T& filter, const QString& rows, long long units)
{
    QString body = "<p><a href=\"index.html\">Dashboard</a></p>\n" + Window(filter);
    if (units == 0)
        return CHtmlPage::Page("Units: none", body + "<p>No unit with a serial number ran in the window.</p>\n");
    body += "<table class=\"units\">\n<tr><th>serial</th><th>product</th><th>runs</th><th>last run (UTC)</th>"
            "<th>last result</th></tr>\n" +
            rows + "</table>\n";
    return CHtmlPage::Page(QString("Units: %1").arg(units), body, c_Style);
}

bool CDashboard::Write(const QString& dir, const AnalyticsFilter_T& filter, DashboardSummary_T& summary,
                       QString& error) const
{
    summary = DashboardSummary_T();
    // Made again from the database at will: its thousands of pages are not flushed one by one.
    const CReportFolder folder(dir, false);
    if (!folder.Check(error))
        return false;
    const CAnalytics analytics(m_Db);
    const CDashboardUnits reader(m_Db);
    YieldReport_T yield;
    std::vector<CapabilityRow_T> capability;
    AnalyticsFilter_T pages = filter;
    QDateTime newest;
    if (!analytics.Yield(filter, "day", yield, error) || !analytics.Capability(filter, false, capability, error) ||
        (!filter.since.isValid() && !reader.Newest(filter, newest, error)))
        return false;
    if (newest.isValid())
        pages.since = newest.addDays(-UnitDays());
    return folder.Replace(
        [&](const CReportFolder::Put_T& put, QString& why) {
            // One chart and one unit in memory at a time; the charts come in
            // the database's order, their pages are numbered as the table's rows.
            std::map<QStringList, size_t> rowOf;
            for (size_t i = 0; i < capability.size(); ++i)
                rowOf[Key(capability[i].id)] = i + 1;
            const auto chartPage = [&](const ControlChart_T& chart, QString& message) {
                const auto row = rowOf.find(Key(chart.id));
                if (row == rowOf.end())
                    return true;
                const size_t number = row->second;
                rowOf.erase(row);
                return put(ControlPageName(number), ControlPage(filter, chart, number, pages).toUtf8(), message);
            };
            if (!analytics.Controls(filter, 20, chartPage, why))
                return false;
            for (const auto& [key, number] : rowOf)
            {
                ControlChart_T chart;
                chart.id = capability[number - 1].id;
                if (!put(ControlPageName(number), ControlPage(filter, chart, number, pages).toUtf8(), why))
                    return false;
            }
            summary.charts = capability.size();
            QString rows;
            long long& units = summary.units;
            CUnitPageWriter writer(put);
            const auto page = [&](const DashboardUnit_T& unit, QString& message) {
                ++units;
                rows += UnitRow(unit);
                return writer.Add(unit, message);
            };
            return reader.ForEach(pages, page, why) && writer.Finish(why) &&
                   put("units.html", UnitsPage(pages, rows, units).toUtf8(), why) &&
                   put("index.html", Index(filter, yield, capability, pages, units).toUtf8(), why);
        },
        error);
}
