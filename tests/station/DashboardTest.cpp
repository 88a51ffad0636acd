// The dashboard's pages from hand-made records, and the units it reads back
// from a results database in batches, on SQLite and on PostgreSQL. Texts from
// units are hostile on purpose: they must come out as text.
#include "EngineTest.h"

#include "Dashboard.h"
#include "DashboardCharts.h"
#include "DashboardUnitPage.h"
#include "DashboardUnits.h"
#include "DbTarget.h"
#include "ReportFolder.h"
#include "ResultsDb.h"
#include "RunRows.h"
#include "StepRows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace
{
QString Between(const QString& text, const QString& from, const QString& to)
{
    const int start = text.indexOf(from);
    return start < 0 ? QString() : text.mid(start, text.indexOf(to, start) + to.size() - start);
}

AnalyticsFilter_T Window()
{
    AnalyticsFilter_T filter;
    filter.plan = "cor<1>";
    filter.since = QDateTime(QDate(2026, 3, 1), QTime(0, 0), Qt::UTC);
    filter.until = QDateTime(QDate(2026, 3, 3), QTime(0, 0), Qt::UTC);
    return filter;
}

YieldRow_T Yield(const QString& group, long long units, std::optional<double> fpy, std::optional<double> lpy)
{
    YieldRow_T row;
    row.group = group;
    row.units = units;
    row.fpy = fpy;
    row.lpy = lpy;
    return row;
}

CapabilityRow_T Capability(const QString& step, const QString& key, int from, std::optional<double> cpk)
{
    CapabilityRow_T row;
    row.id = {"cor", step, key, from};
    row.n = 25;
    row.mean = 250;
    row.lsl = 200;
    row.usl = 300;
    row.cpk = cpk;
    row.failures = 2;
    return row;
}

ControlPoint_T Point(long long index, const QByteArray& serial, double value, const QStringList& rules = {})
{
    ControlPoint_T point;
    point.index = index;
    point.serial = serial;
    point.runId = QString("r%1").arg(index);
    point.time = QDateTime(QDate(2026, 3, 1), QTime(8, 0), Qt::UTC).addSecs(60 * index);
    point.value = value;
    point.rules = rules;
    return point;
}

TEST(DashboardPages, IndexShowsTheYieldsTheParetoAndTheCapabilityColouredByCpk)
{
    YieldReport_T yield;
    yield.total = Yield("", 5, 0.4, 0.8);
    yield.total.runs = 8;
    yield.total.spy = 0.6;
    yield.total.tpy = 0.6;
    yield.total.runYield = 0.625;
    yield.groups = {Yield("2026-03-01", 4, 0.25, 0.75), Yield("2026-03-02", 1, 1.0, 1.0)};
    yield.pareto = {{"cor", "<b>ping</b>", "peak from 32", 4}, {"cor", "battery", "reading", 1}};
    const std::vector<CapabilityRow_T> capability = {
        Capability("ping", "peak", 32, 0.8), Capability("ping", "mean", 0, 1.2),
        Capability("battery", "reading", 0, 1.33), Capability("ping", "samples", 0, std::nullopt)};
    const QString index = CDashboard::Index(Window(), yield, capability, Window(), 5);
    EXPECT_EQ(Between(index, "<h1>", "</table>").toStdString(),
              "<h1>Production dashboard</h1>\n<p class=\"facts\">Plan cor&lt;1&gt;, runs started from 2026-03-01 "
              "00:00:00 UTC until before 2026-03-03 00:00:00 UTC, virtual units left out.</p>\n<p><a "
              "href=\"units.html\">5 unit(s)</a> with a page each.</p>\n<h2>Yield</h2>\n<table class=\"yield\">\n"
              "<tr><th>units</th><th>runs</th><th>FPY</th><th>SPY</th><th>TPY</th><th>LPY</th><th>run yield</th>"
              "</tr>\n<tr><td class=\"number\">5</td><td class=\"number\">8</td><td>40.0 %</td><td>60.0 %</td>"
              "<td>60.0 %</td><td>80.0 %</td><td>62.5 %</td></tr>\n</table>");
    // Two days: the first at the left end, the second at the right; 100 % at the top (16), 0 % at 236.
    EXPECT_EQ(Between(index, "<g class=\"fpy\"", "</g>").toStdString(),
              "<g class=\"fpy\" stroke=\"#1f4e9c\" fill=\"#1f4e9c\"><circle cx=\"72.0\" cy=\"181.0\" r=\"2.5\"/>"
              "<circle cx=\"852.0\" cy=\"16.0\" r=\"2.5\"/><polyline fill=\"none\" stroke-width=\"1.5\" "
              "points=\"72.0,181.0 852.0,16.0\"/></g>");
    EXPECT_TRUE(index.contains("points=\"72.0,71.0 852.0,16.0\""));  // LPY
    EXPECT_TRUE(index.contains("<text x=\"852.0\" y=\"254.0\" text-anchor=\"middle\">03-02</text>"));
    EXPECT_EQ(Between(index, "<h2>Failures", "</table>").toStdString(),
              "<h2>Failures by first failing step</h2>\n<table class=\"pareto\">\n<tr><th>plan</th><th>step</th>"
              "<th>expectation</th><th>failures</th><th></th></tr>\n<tr><td>cor</td><td>&lt;b&gt;ping&lt;/b&gt;</td>"
              "<td>peak from 32</td><td class=\"number\">4</td><td class=\"bar\"><div style=\"width:100.0%\"></div>"
              "</td></tr>\n<tr><td>cor</td><td>battery</td><td>reading</td><td class=\"number\">1</td>"
              "<td class=\"bar\"><div style=\"width:25.0%\"></div></td></tr>\n</table>");
    const QString cells = "<td class=\"number\">25</td><td class=\"number\">250</td><td class=\"number\">-</td>"
                          "<td class=\"number\">-</td><td class=\"number\">200</td><td class=\"number\">300</td>"
                          "<td class=\"number\">-</td><td class=\"number\">";
    const QString tail = "</td><td class=\"number\">-</td><td class=\"number\">-</td><td class=\"number\">2</td>"
                         "</tr>\n";
    EXPECT_EQ(Between(index, "<h2>Capability", "</table>"),
              "<h2>Capability</h2>\n<table class=\"capability\">\n<tr><th>plan</th><th>step</th><th>measurement</th>"
              "<th>n</th><th>mean</th><th>s</th><th>sw</th><th>LSL</th><th>USL</th><th>Cp</th><th>Cpk</th>"
              "<th>Pp</th><th>Ppk</th><th>outside</th></tr>\n"
              "<tr class=\"cpk-red\"><td>cor</td><td>ping</td><td><a href=\"control-1.html\">peak from 32</a></td>" +
                  cells + "0.8" + tail +
                  "<tr class=\"cpk-amber\"><td>cor</td><td>ping</td><td><a href=\"control-2.html\">mean</a></td>" +
                  cells + "1.2" + tail +
                  "<tr><td>cor</td><td>battery</td><td><a href=\"control-3.html\">reading</a></td>" + cells + "1.33" +
                  tail + "<tr><td>cor</td><td>ping</td><td><a href=\"control-4.html\">samples</a></td>" + cells + "-" +
                  tail + "</table>");

    AnalyticsFilter_T recent;
    recent.since = QDateTime(QDate(2026, 2, 24), QTime(9, 30), Qt::UTC);
    const QString empty = CDashboard::Index(AnalyticsFilter_T(), YieldReport_T(), {}, recent, 0);
    EXPECT_TRUE(empty.contains("<p><a href=\"units.html\">0 unit(s)</a> with a page each, those that ran from "
                               "2026-02-24 09:30:00 UTC on.</p>\n"));
    EXPECT_TRUE(empty.contains("<p class=\"facts\">Plan any, runs started from the first on, virtual units left "
                               "out.</p>\n"));
    EXPECT_TRUE(empty.contains("<p>No unit had its first attempt in the window.</p>\n<h2>Failures by first failing "
                               "step: none</h2>\n<h2>Capability: no numeric measurement</h2>\n</body>"));
}

TEST(DashboardPages, ControlChartsNumberAndNameTheFlaggedPoints)
{
    ControlChart_T chart;
    chart.id = {"cor", "ping", "peak", 32};
    chart.baseline = 2;
    chart.points = {Point(1, "A1", 10), Point(2, "<script>alert(1)</script>", 20, {"beyond-3-sigma"}),
                    Point(3, "A3", 12, {"2-of-3-beyond-2-sigma", "6-trending"})};
    chart.points[1].movingRange = 10;
    chart.points[2].movingRange = 8;
    chart.centre = 15;
    chart.ucl = 28.3;
    chart.lcl = 1.7;
    chart.mrCentre = 5;
    chart.mrUcl = 16.335;
    const QString page = CDashboard::ControlPage(AnalyticsFilter_T(), chart, 7, AnalyticsFilter_T());
    EXPECT_TRUE(page.contains("<title>Control chart 7: ping, peak from 32</title>"));
    EXPECT_TRUE(page.contains("<p class=\"facts\">Plan cor, 3 point(s) in time order; centre line and limits from "
                              "the first 2.<br>Individuals: CL 15, UCL 28.3, LCL 1.7<br>Moving range: MR 5, UCL "
                              "16.335</p>\n"));
    const QString hostile = CDashboardUnitPage::PageName("<script>alert(1)</script>");
    EXPECT_EQ(Between(page, "<h2>Flagged", "</table>"),
              "<h2>Flagged points: 2</h2>\n<table class=\"flags\">\n<tr><th>flag</th><th>point</th><th>serial</th>"
              "<th>run</th><th>started (UTC)</th><th>value</th><th>rules</th></tr>\n<tr><td class=\"number\">1</td>"
              "<td class=\"number\">2</td><td><a href=\"" +
                  hostile +
                  "\">&lt;script&gt;alert(1)&lt;/script&gt;</a></td><td>r2</td><td>2026-03-01 08:02:00</td>"
                  "<td class=\"number\">20</td><td>beyond-3-sigma</td></tr>\n<tr><td class=\"number\">2</td>"
                  "<td class=\"number\">3</td><td><a href=\"" +
                  CDashboardUnitPage::PageName("A3") +
                  "\">A3</a></td><td>r3</td><td>2026-03-01 08:03:00</td><td class=\"number\">12</td>"
                  "<td>2-of-3-beyond-2-sigma, 6-trending</td></tr>\n</table>");
    // Values 1.7..28.3 with 5 % margins: 20 lies at 236 - (20 - 0.37) / 29.26 * 220.
    EXPECT_EQ(Between(page, "<g class=\"flag\"><title>beyond", "</g>").toStdString(),
              "<g class=\"flag\"><title>beyond-3-sigma</title><circle cx=\"462.0\" cy=\"88.4\" r=\"5\" fill=\"none\" "
              "stroke=\"#d0342c\" stroke-width=\"2\"/><text x=\"462.0\" y=\"80.4\" fill=\"#d0342c\" "
              "text-anchor=\"middle\" font-weight=\"bold\">1</text></g>");
    EXPECT_EQ(page.count("<g class=\"level\">"), 5);
    EXPECT_FALSE(page.contains("<script>"));

    // Values where a tick step is lost in the magnitude, or none at all: the axes still end.
    for (const double value : {1e16, std::numeric_limits<double>::infinity(), std::nan("")})
    {
        ControlChart_T odd;
        odd.points = {Point(1, "C", value), Point(2, "C", value + 4)};
        const QString svg = CDashboardCharts::Control(odd, 0);
        EXPECT_LE(svg.count("text-anchor=\"end\""), 2 * 20) << value;
    }

    // A long series draws its latest points; flags keep their numbers.
    std::vector<ControlPoint_T> points = {Point(1, "B", 1, {"beyond-3-sigma"})};
    for (long long i = 2; i <= static_cast<long long>(CDashboard::MaxPoints()) + 2; ++i)
        points.push_back(Point(i, "B", 1, i == 40 ? QStringList{"8-on-one-side"} : QStringList()));
    chart.points = points;
    // Only units that ran in the window of the unit pages have one to link to.
    AnalyticsFilter_T pages;
    pages.since = Point(41, "B", 1).time;
    const QString latest = CDashboard::ControlPage(AnalyticsFilter_T(), chart, 1, pages);
    EXPECT_TRUE(latest.contains("the first 2. Drawn: the last 500, from point 3.<br>"));
    EXPECT_TRUE(latest.contains("<h2>Flagged points: 2</h2>\n<p>1 of them before the points drawn.</p>\n"));
    EXPECT_TRUE(latest.contains("<tr><td class=\"number\">2</td><td class=\"number\">40</td><td>B</td><td>r40</td>"));
    EXPECT_EQ(latest.count("<g class=\"flag\">"), 1);
    EXPECT_TRUE(latest.contains("font-weight=\"bold\">2</text></g>"));
}

// A unit whose serial, step names, verdicts and sample lines are markup.
DashboardUnit_T HostileUnit()
{
    DashboardUnit_T unit;
    unit.serial = "<script>alert(\"sn\")</script>";
    DashboardRun_T run;
    run.run.id = "r<1>";
    run.run.unit = "ssh:<i>u</i>";
    run.run.product = "QL4K & co";
    run.run.planName = "cor.txt";
    run.run.started = QDateTime(QDate(2026, 3, 1), QTime(8, 0), Qt::UTC);
    run.run.result = "failed";
    run.run.attempt = 1;
    run.station = "bench\"1";
    DashboardStep_T step;
    step.step.index = 0;
    step.step.name = "<img src=x>";
    step.step.verdict = "<script>";
    MeasurementRecord_T peak{"peak", 0, "5..7", 9, 5.0, 7.0, false};
    step.step.measurements = {peak};
    step.tryNumber = 2;
    SampleBlock_T block;
    block.samples = {3, 9, 4};
    block.lines = QStringList{"Range <b>10</b> m"};
    step.blocks = {block, block};
    run.steps = {step};
    unit.runs = {run};
    run.run.result = "aborted";
    run.run.attempt = QVariant();
    run.steps.clear();
    unit.runs.push_back(run);
    return unit;
}

TEST(DashboardPages, UnitPageShowsTheRunsAndEveryBlockAsText)
{
    const QString page = CDashboardUnitPage().Render(HostileUnit());
    EXPECT_TRUE(page.contains("<title>Unit &lt;script&gt;alert(&quot;sn&quot;)&lt;/script&gt;</title>"));
    EXPECT_EQ(Between(page, "<h2>Runs", "</table>").toStdString(),
              "<h2>Runs</h2>\n<table class=\"runs\">\n<tr><th>started (UTC)</th><th>plan</th><th>station</th>"
              "<th>unit</th><th>product</th><th>attempt</th><th>result</th></tr>\n<tr><td><a href=\"#run1\">"
              "2026-03-01 08:00:00</a></td><td>cor.txt</td><td>bench&quot;1</td><td>ssh:&lt;i&gt;u&lt;/i&gt;</td>"
              "<td>QL4K &amp; co</td><td>1</td><td class=\"unmet\">failed</td></tr>\n<tr><td><a href=\"#run2\">"
              "2026-03-01 08:00:00</a></td><td>cor.txt</td><td>bench&quot;1</td><td>ssh:&lt;i&gt;u&lt;/i&gt;</td>"
              "<td>QL4K &amp; co</td><td>-</td><td class=\"missing\">aborted</td></tr>\n</table>");
    EXPECT_EQ(Between(page, "<table class=\"steps\">", "</table>").toStdString(),
              "<table class=\"steps\">\n<tr><th>step</th><th>try</th><th>verdict</th><th>expectation</th>"
              "<th>expected</th><th>measured</th><th>met</th></tr>\n<tr><td>&lt;img src=x&gt;</td><td>2</td>"
              "<td class=\"unmet\">&lt;script&gt;</td><td>peak</td><td>5..7</td><td>9</td><td class=\"unmet\">no</td>"
              "</tr>\n</table>");
    // Both blocks plotted, the first judged by the step's expectations.
    EXPECT_EQ(page.count("<h3>&lt;img src=x&gt;, try 2: sample block "), 2);
    EXPECT_EQ(page.count("<p><code>Range &lt;b&gt;10&lt;/b&gt; m</code></p>"), 2);
    EXPECT_EQ(page.count("<svg "), 2);
    EXPECT_EQ(page.count("<g class=\"range peak\">"), 1);
    EXPECT_FALSE(page.contains("<script") || page.contains("<img") || page.contains("<b>") || page.contains("<i>"));

    const QString row = CDashboard::UnitRow(HostileUnit());
    EXPECT_EQ(row, "<tr><td><a href=\"" + CDashboardUnitPage::PageName(HostileUnit().serial) +
                       "\">&lt;script&gt;alert(&quot;sn&quot;)&lt;/script&gt;</a></td><td>QL4K &amp; co</td>"
                       "<td class=\"number\">2</td><td>2026-03-01 08:00:00</td><td class=\"missing\">aborted</td>"
                       "</tr>\n");
}

TEST(DashboardPages, PageNamesAreSafeAndDistinct)
{
    const struct
    {
        QByteArray serial;
        QString start;  // before the hash
    } cases[] = {
        {"SN-0042", "unit-SN-0042-"},
        {"sn-0042", "unit-sn-0042-"},
        {"../../etc/passwd", "unit-______etc_passwd-"},
        {"a/b", "unit-a_b-"},
        {"a_b", "unit-a_b-"},
        {"a\\b", "unit-a_b-"},
        {"\xff\xfe.html", "unit-___html-"},
        {QByteArray(80, 'x'), "unit-" + QString(32, 'x') + "-"},
        {QByteArray(81, 'x'), "unit-" + QString(32, 'x') + "-"},
    };
    QStringList names;
    for (const auto& c : cases)
    {
        const QString name = CDashboardUnitPage::PageName(c.serial);
        EXPECT_TRUE(name.startsWith(c.start)) << name.toStdString();
        EXPECT_EQ(name.size(), c.start.size() + 12 + 5) << name.toStdString();
        EXPECT_FALSE(name.contains('/') || name.contains('\\') || name.startsWith('.'));
        EXPECT_FALSE(names.contains(name, Qt::CaseInsensitive)) << name.toStdString();
        names << name;
    }
}
}

namespace
{

struct Run_T
{
    const char* serial;
    const char* started;  // 2026-MM-DDTHH:MM
    const char* result;
    const char* plan;
    bool isVirtual;
    // Each step a line: NAME#TRY=PEAK:SAMPLES, samples comma separated (none: no block).
    std::vector<const char*> steps;
};

// Out of the window (plan, time, virtual, no serial) and in it, out of order.
const Run_T c_Runs[] = {
    {"B-2", "03-01T08:00", "failed", "cor.txt", false, {"ping#1=999:1,2,3", "ping#2=250:4,5", "volts#1=12:"}},
    {"<script>", "03-02T08:00", "passed", "cor.txt", false, {"ping#1=250:"}},
    {"A-1", "02-27T08:00", "failed", "cor.txt", false, {"ping#1=999:"}},
    {"A-1", "03-01T10:00", "passed", "cor.txt", false, {"ping#1=250:7"}},
    {"A-1", "03-01T11:00", "passed", "other.txt", false, {"ping#1=250:"}},
    {"V-1", "03-01T10:00", "passed", "cor.txt", true, {"ping#1=250:"}},
    {"", "03-01T10:00", "passed", "cor.txt", false, {"ping#1=250:"}},
    {"B-2", "03-01T09:00", "passed", "cor.txt", false, {"ping#1=250:8"}},
    {"B-2", "03-01T11:00", "aborted", "cor.txt", false, {}},
    {"B-2", "03-03T08:00", "passed", "cor.txt", false, {"ping#1=250:"}},
};

StepResult_T Step(const QString& text, int& index, int& tryNumber, QStringList& names)
{
    StepResult_T step;
    step.name = text.section('#', 0, 0);
    tryNumber = text.section('#', 1).section('=', 0, 0).toInt();
    if (!names.contains(step.name))
        names << step.name;
    index = names.indexOf(step.name);
    ExpectationResult_T peak;
    peak.key = "peak";
    peak.expected = "200..300";
    peak.measured = text.section('=', 1).section(':', 0, 0).toInt();
    peak.met = peak.measured.toInt() <= 300;
    step.expectations = {peak};
    step.met = peak.met;
    step.verdict = "passed";
    const QString samples = text.section(':', 1);
    if (!samples.isEmpty())
    {
        SampleBlock_T block;
        for (const QString& sample : samples.split(','))
            block.samples.push_back(sample.toInt());
        step.report.blocks = {block};
    }
    return step;
}

// One line a unit: its serial, then each run with its steps' tries and block sizes.
QString Summary(const DashboardUnit_T& unit)
{
    QString text = QString::fromUtf8(unit.serial) + ":";
    for (const DashboardRun_T& run : unit.runs)
    {
        text += " " + run.run.started.toString("MM-ddTHH:mm") + " " + run.run.result + " a" +
                (run.run.attempt.isValid() ? run.run.attempt.toString() : "-") + " " + run.station + " [";
        for (const DashboardStep_T& step : run.steps)
        {
            text += QString("%1 %2#%3").arg(step.step.index).arg(step.step.name).arg(step.tryNumber);
            for (const MeasurementRecord_T& m : step.step.measurements)
                text += " " + m.key + "=" + m.value.toString();
            for (const SampleBlock_T& block : step.blocks)
                text += QString(" b%1").arg(block.samples.size());
            text += ";";
        }
        text += "]";
    }
    return text;
}
}

class DashboardDb : public CEngineTest
{
protected:
    void SetUp() override
    {
        CEngineTest::SetUp();
        if (Stopped())
            return;
        QString error;
        ASSERT_TRUE(m_Db.Open(m_Target, error)) << error.toStdString();
        int number = 0;
        for (const Run_T& r : c_Runs)
        {
            SessionRecord_T session;
            session.id = QString("s%1").arg(++number);
            session.host = QString("station%1").arg(number % 2);
            session.plan = r.plan;
            session.planSha256 = QString(64, 'a');
            session.started = QDateTime::fromString(QString("2026-%1:00Z").arg(r.started), Qt::ISODate);
            ASSERT_TRUE(CRunRows::InsertSession(m_Db, session, error)) << error.toStdString();
            RunRecord_T run;
            run.id = QString("r%1").arg(number, 2, 10, QChar('0'));
            run.sessionId = session.id;
            run.unit = r.isVirtual ? "ql4k" : "ssh:unit";
            run.isVirtual = r.isVirtual;
            run.serial = r.serial;
            run.serialSource = "unit";
            run.product = "QL4K";
            run.planName = r.plan;
            run.planSha256 = session.planSha256;
            run.started = session.started;
            ASSERT_TRUE(CRunRows::InsertRun(m_Db, run, error)) << error.toStdString();
            QStringList names;
            for (const char* text : r.steps)
            {
                int index = 0;
                int tryNumber = 1;
                const StepResult_T step = Step(text, index, tryNumber, names);
                ASSERT_TRUE(CStepRows::Insert(m_Db, run.id, index, tryNumber, step, error)) << error.toStdString();
            }
            run.result = r.result;
            run.ended = run.started.addSecs(60);
            if (run.result != "aborted")
            {
                ASSERT_TRUE(CRunRows::FinishRun(m_Db, run, error)) << error.toStdString();
            }
        }
    }

    QStringList Units(const AnalyticsFilter_T& filter, int batch)
    {
        QStringList units;
        QString error;
        EXPECT_TRUE(CDashboardUnits(m_Db, batch)
                        .ForEach(
                            filter,
                            [&units](const DashboardUnit_T& unit, QString&) {
                                units << Summary(unit);
                                return true;
                            },
                            error))
            << error.toStdString();
        return units;
    }

    CResultsDb m_Db;
};

TEST_P(DashboardDb, ReadsEachUnitOfTheWindowWithItsRunsStepsAndBlocksInAnyBatchSize)
{
    AnalyticsFilter_T filter;
    filter.plan = "cor.txt";
    filter.since = QDateTime(QDate(2026, 3, 1), QTime(0, 0), Qt::UTC);
    filter.until = QDateTime(QDate(2026, 3, 3), QTime(0, 0), Qt::UTC);
    const QStringList expected = {
        "<script>: 03-02T08:00 passed a1 station0 [0 ping#1 peak=250;]",
        // Attempts count from the run before the window.
        "A-1: 03-01T10:00 passed a2 station0 [0 ping#1 peak=250 b1;]",
        "B-2: 03-01T08:00 failed a1 station1 [0 ping#1 peak=999 b3;0 ping#2 peak=250 b2;1 volts#1 peak=12;] "
        "03-01T09:00 passed a2 station0 [0 ping#1 peak=250 b1;] 03-01T11:00 aborted a- station1 []"};
    for (const int batch : {1, 2, 200})
        EXPECT_EQ(Units(filter, batch), expected) << "batches of " << batch;
    filter.withVirtual = true;
    EXPECT_EQ(Units(filter, 2), expected + QStringList{"V-1: 03-01T10:00 passed a1 station0 [0 ping#1 peak=250;]"});
    filter.since = QDateTime(QDate(2026, 3, 3), QTime(0, 0), Qt::UTC);
    filter.until = QDateTime();
    EXPECT_EQ(Units(filter, 1), QStringList{"B-2: 03-03T08:00 passed a3 station0 [0 ping#1 peak=250;]"});
}

TEST_P(DashboardDb, WritesAFolderOfItsOwnAndReplacesItWhole)
{
    const QString out = m_Home.filePath("dashboard");
    AnalyticsFilter_T filter;
    filter.plan = "cor.txt";
    filter.since = QDateTime(QDate(2026, 2, 1), QTime(0, 0), Qt::UTC);
    DashboardSummary_T summary;
    QString error;
    ASSERT_TRUE(CDashboard(m_Db).Write(out, filter, summary, error)) << error.toStdString();
    EXPECT_EQ(summary.units, 3);
    EXPECT_EQ(summary.charts, 2u);  // peak of ping and of volts
    QStringList expected = {CReportFolder::MarkerName(), "control-1.html", "control-2.html", "index.html",
                            "units.html"};
    for (const QByteArray serial : {"<script>", "A-1", "B-2"})
        expected << CDashboardUnitPage::PageName(serial);
    expected.sort();
    EXPECT_EQ(QDir(out).entryList(QDir::Files | QDir::Hidden, QDir::Name), expected);
    QFile units(out + "/units.html");
    ASSERT_TRUE(units.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(units.readAll());
    EXPECT_TRUE(text.contains("\">&lt;script&gt;</a></td><td>QL4K</td><td class=\"number\">1</td>"));
    EXPECT_FALSE(text.contains("<script>"));

    // Without --since, unit pages cover the day up to the newest run (03-03T08:00): the pages of
    // units outside it are gone.
    filter.since = QDateTime();
    ASSERT_TRUE(CDashboard(m_Db).Write(out, filter, summary, error)) << error.toStdString();
    EXPECT_EQ(summary.units, 2);
    EXPECT_FALSE(QFile::exists(out + "/" + CDashboardUnitPage::PageName("A-1")));
    EXPECT_TRUE(QFile::exists(out + "/" + CDashboardUnitPage::PageName("B-2")));

    // A folder the station did not write is left alone.
    const QString other = m_Home.filePath("other");
    ASSERT_TRUE(QDir().mkpath(other));
    QFile mine(other + "/notes.txt");
    ASSERT_TRUE(mine.open(QIODevice::WriteOnly));
    mine.close();
    EXPECT_FALSE(CDashboard(m_Db).Write(other, filter, summary, error));
    EXPECT_EQ(error.toStdString(),
              other.toStdString() + ": holds files that are not a report of the station's; name a new or empty folder");
    EXPECT_EQ(QDir(other).entryList(QDir::Files | QDir::Hidden), QStringList{"notes.txt"});
}

ENGINE_TEST_SUITE(DashboardDb);
