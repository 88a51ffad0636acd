// The report pages from hand-made results: the index's facts, unmet list,
// units and grid, and where the plot puts its marks and words.
#include "HtmlReport.h"
#include "LiveReport.h"
#include "ReportFolder.h"
#include "SvgPlot.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
ExpectationResult_T Expect(const QString& key, const QString& expected, int from, const QVariant& measured, bool met)
{
    ExpectationResult_T result;
    result.key = key;
    result.expected = expected;
    result.from = from;
    result.measured = measured;
    result.met = met;
    return result;
}

StepResult_T Step(const QString& name, const QString& verdict, std::vector<ExpectationResult_T> expectations)
{
    StepResult_T step;
    step.name = name;
    step.verdict = verdict;
    step.expectations = std::move(expectations);
    step.met = std::all_of(step.expectations.begin(), step.expectations.end(),
                           [](const ExpectationResult_T& e) { return e.met; });
    return step;
}

StationResults_T Results()
{
    StationResults_T results;
    results.plan = "<plan>&%1.txt";
    results.host = "bench\"%2";
    results.started = QDateTime(QDate(2024, 3, 9), QTime(17, 5, 42), Qt::UTC);
    results.seconds = 12.345;
    UnitResult_T good{"ql4k",
                      {Step("xk", "passed", {Expect("peak", "240..255", 0, 247, true)}),
                       Step("volts", "performed", {Expect("reading", "2900..3100", 0, 3012.0, true)})},
                      true,
                      QString(),
                      QString(),
                      "QL&0042",
                      false};
    // Stopped after its first step, which timed out.
    UnitResult_T bad{"<i>unit</i>%1",
                     {Step("xk", "timeout",
                           {Expect("verdict", "passed or performed", 0, "timeout", false),
                            Expect("mean", "0..100", 32, QVariant(), false)})},
                     false,
                     QString(),
                     QString(),
                     QByteArray(),
                     true};
    results.units = {good, bad};
    return results;
}

QString Between(const QString& text, const QString& from, const QString& to)
{
    const int start = text.indexOf(from);
    return start < 0 ? QString() : text.mid(start, text.indexOf(to, start) + to.size() - start);
}

TEST(HtmlReport, IndexShowsTheRunUnmetExpectationsUnitsAndGrid)
{
    const QString index = CHtmlReport().Index(Results());
    EXPECT_EQ(Between(index, "<p class=\"facts\">", "</p>").toStdString(),
              "<p class=\"facts\">Expectations NOT met.<br>Run 2024-03-09 17:05:42 UTC on station bench&quot;%2, "
              "plan &lt;plan&gt;&amp;%1.txt, 12.35 s<br>2 units, 3 steps: 2 met, 1 not met, 0 not run</p>");
    EXPECT_EQ(Between(index, "<h2>Not met", "</table>").toStdString(),
              "<h2>Not met: 2</h2>\n<table class=\"unmet-list\">\n<tr><th>unit</th><th>step</th><th>expectation</th>"
              "<th>expected</th><th>measured</th></tr>\n"
              "<tr><td>&lt;i&gt;unit&lt;/i&gt;%1</td><td><a href=\"unit2-xk.html\">xk</a></td><td>verdict</td>"
              "<td>passed or performed</td><td>timeout</td></tr>\n"
              "<tr><td>&lt;i&gt;unit&lt;/i&gt;%1</td><td><a href=\"unit2-xk.html\">xk</a></td><td>mean from 32</td>"
              "<td>0..100</td><td>-</td></tr>\n</table>");
    EXPECT_EQ(Between(index, "<h2>Units</h2>", "</table>").toStdString(),
              "<h2>Units</h2>\n<table class=\"units\">\n<tr><th>unit</th><th>verdict</th><th>steps</th><th>met</th>"
              "<th>not met</th></tr>\n<tr><th>ql4k</th><td class=\"met\">met</td><td>2</td><td>2</td><td>0</td></tr>\n"
              "<tr><th>&lt;i&gt;unit&lt;/i&gt;%1</th><td class=\"unmet\">NOT met</td><td>1</td><td>0</td><td>1</td>"
              "</tr>\n</table>");
    EXPECT_EQ(Between(index, "<h2>Steps</h2>", "</table>").toStdString(),
              "<h2>Steps</h2>\n<table class=\"grid\">\n<tr><th>step</th><th>ql4k</th><th>&lt;i&gt;unit&lt;/i&gt;%1</th>"
              "</tr>\n<tr><th>xk</th><td class=\"met\"><a href=\"unit1-xk.html\">passed, met</a></td>"
              "<td class=\"timeout\"><a href=\"unit2-xk.html\">timeout, NOT met</a></td></tr>\n"
              "<tr><th>volts</th><td class=\"met\"><a href=\"unit1-volts.html\">performed, met</a></td>"
              "<td class=\"missing\">not run</td></tr>\n</table>");
    // The unmet list comes before the units and the grid.
    EXPECT_LT(index.indexOf("<h2>Not met"), index.indexOf("<h2>Steps"));
    // Verdicts to read from across the bench, first on the page; a finished report does not reload.
    EXPECT_EQ(Between(index, "<h1>", "</div>\n</div>\n").toStdString(),
              "<h1>Station report</h1>\n<div class=\"board\">\n"
              "<div class=\"tile pass\"><div class=\"serial\">QL&amp;0042</div><div class=\"verdict\">PASS</div>"
              "<div class=\"unit\">ql4k</div></div>\n"
              "<div class=\"tile fail\"><div class=\"serial\">no serial</div><div class=\"verdict\">FAIL</div>"
              "<div class=\"unit\">&lt;i&gt;unit&lt;/i&gt;%1</div></div>\n</div>\n");
    EXPECT_FALSE(index.contains("refresh"));

    StationResults_T allMet = Results();
    allMet.units.pop_back();
    allMet.met = true;
    const QString metIndex = CHtmlReport().Index(allMet);
    EXPECT_TRUE(metIndex.contains("<p class=\"facts\">Every expectation met.<br>")) << metIndex.toStdString();
    EXPECT_TRUE(metIndex.contains("<h2>Not met: none</h2>\n<h2>Steps</h2>"));
}

// Mid-run, a plan of three steps: a unit at its second step, one waiting for
// a slot, one stopped after two steps that met, which is no pass.
TEST(HtmlReport, LiveIndexShowsHowFarEachUnitIsAndReloads)
{
    StationResults_T results = Results();
    results.units[0].steps.pop_back();
    results.units[0].steps[0].met = false;
    results.units[1].steps.clear();
    UnitResult_T stopped = Results().units[0];
    stopped.unit = "ql5k";
    stopped.serial = "Q5\"%2";
    stopped.aborted = true;
    results.units.push_back(stopped);
    std::vector<UnitProgress_T> progress(3);
    progress[0].started = true;
    progress[0].running = "<volts>";
    progress[2].started = progress[2].finished = true;
    const QString index = CHtmlReport().LiveIndex(results, progress, {"xk", "volts", "<end>"});
    EXPECT_TRUE(index.startsWith("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                                 "<meta http-equiv=\"refresh\" content=\"2\"><title>Station report</title>"));
    EXPECT_EQ(Between(index, "<div class=\"board\">", "</p>").toStdString(),
              "<div class=\"board\">\n"
              "<div class=\"tile running\"><div class=\"serial\">QL&amp;0042</div><div class=\"count\">1 of 3 "
              "steps</div><div class=\"now\">now: &lt;volts&gt;</div><div class=\"failed some\">1 failed</div>"
              "<div class=\"unit\">ql4k</div></div>\n"
              "<div class=\"tile running\"><div class=\"serial\">no serial</div><div class=\"count\">0 of 3 "
              "steps</div><div class=\"now\">waiting</div><div class=\"failed\">0 failed</div>"
              "<div class=\"unit\">&lt;i&gt;unit&lt;/i&gt;%1</div></div>\n"
              "<div class=\"tile fail\"><div class=\"serial\">Q5&quot;%2</div><div class=\"verdict\">FAIL</div>"
              "<div class=\"unit\">ql5k</div></div>\n</div>\n"
              "<p class=\"facts\">Running since 2024-03-09 17:05:42 UTC on station bench&quot;%2, plan "
              "&lt;plan&gt;&amp;%1.txt, 12.35 s so far<br>3 units, 3 of 9 steps done: 2 met, 1 not met, 0 not run</p>");
    EXPECT_EQ(Between(index, "<h2>Steps</h2>", "</table>").toStdString(),
              "<h2>Steps</h2>\n<table class=\"grid\">\n<tr><th>step</th><th>ql4k</th><th>&lt;i&gt;unit&lt;/i&gt;%1</th>"
              "<th>ql5k</th></tr>\n<tr><th>xk</th><td class=\"unmet\"><a href=\"unit1-xk.html\">passed, NOT met</a>"
              "</td><td class=\"missing\">to come</td><td class=\"met\"><a href=\"unit3-xk.html\">passed, met</a></td>"
              "</tr>\n<tr><th>volts</th><td class=\"running\">running</td><td class=\"missing\">to come</td>"
              "<td class=\"met\"><a href=\"unit3-volts.html\">performed, met</a></td></tr>\n"
              "<tr><th>&lt;end&gt;</th><td class=\"missing\">to come</td><td class=\"missing\">to come</td>"
              "<td class=\"missing\">not run</td></tr>\n</table>");
    EXPECT_FALSE(index.contains("<h2>Units</h2>"));
}

QString Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString("missing");
}

// The live report replaces an earlier one as the run starts, then gains each
// step's page as it finishes, with the index always the run's latest; it
// never writes into a folder that stopped being the station's report.
TEST(LiveReport, FollowsTheRunPageByPage)
{
    QTemporaryDir dir;
    const QString html = dir.filePath("html");
    QString error;
    ASSERT_TRUE(CReportFolder(html).Replace({{"unit1-old.html", "old"}}, error)) << error.toStdString();
    const StationResults_T final = Results();
    StationResults_T start = final;
    for (UnitResult_T& unit : start.units)
        unit.steps.clear();
    CLiveReport live(html, final.plan, final.started, final.host);
    const auto entries = [&]() { return QDir(html).entryList(QDir::Files | QDir::Hidden, QDir::Name).join(' '); };
    const auto expected = [&](const std::vector<UnitProgress_T>& progress) {
        StationResults_T shown = start;
        shown.seconds = 0;
        return CHtmlReport().LiveIndex(shown, progress, {"xk", "volts"});
    };
    live.Started(start, {"xk", "volts"});
    EXPECT_EQ(entries(), ".sonarstation-report index.html");
    std::vector<UnitProgress_T> progress(2);
    EXPECT_EQ(Read(html + "/index.html"), expected(progress));

    live.UnitStarted(0, "QL&0042", "xk");
    live.StepFinished(0, final.units[0].steps[0], "volts");
    EXPECT_EQ(entries(), ".sonarstation-report index.html unit1-xk.html");
    start.units[0].serial = "QL&0042";
    start.units[0].steps.push_back(final.units[0].steps[0]);
    progress[0].started = true;
    progress[0].running = "volts";
    // Only the seconds so far differ from a page made of the same state.
    const QRegularExpression seconds(", [0-9.]+ s so far");
    EXPECT_EQ(Read(html + "/index.html").replace(seconds, ""), expected(progress).replace(seconds, ""));
    EXPECT_EQ(Read(html + "/unit1-xk.html"), CHtmlReport().StepPage(final, 0, 0));

    live.UnitFinished(1, final.units[1]);
    EXPECT_EQ(entries(), ".sonarstation-report index.html unit1-xk.html unit2-xk.html");
    EXPECT_TRUE(Read(html + "/index.html").contains("<div class=\"verdict\">FAIL</div>"));
    EXPECT_TRUE(live.Error().isEmpty()) << live.Error().toStdString();

    ASSERT_TRUE(QFile::remove(html + "/" + CReportFolder::MarkerName()));
    live.StepFinished(0, final.units[0].steps[1], QString());
    EXPECT_EQ(entries(), "index.html unit1-xk.html unit2-xk.html");
    EXPECT_EQ(live.Error().toStdString(),
              "--report " + html.toStdString() + ": is no longer a report of the station's");
}

// Every word of a plot lies outside its plotting area (64..852 x 48..300).
void ExpectNoTextInThePlottingArea(const QString& svg)
{
    QXmlStreamReader xml(svg);
    double dx = 0;
    double dy = 0;
    while (!xml.atEnd())
    {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes a = xml.attributes();
        const QRegularExpressionMatch shift =
            QRegularExpression("translate\\(([-0-9.]+) ([-0-9.]+)\\)").match(a.value("transform").toString());
        if (xml.name() == QLatin1String("g"))
        {
            dx = shift.hasMatch() ? shift.captured(1).toDouble() : 0;
            dy = shift.hasMatch() ? shift.captured(2).toDouble() : 0;
        }
        if (xml.name() != QLatin1String("text"))
            continue;
        const double x = dx + a.value("x").toDouble();
        const double y = dy + a.value("y").toDouble();
        const QString words = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        EXPECT_FALSE(x > 64 && x < 852 && y > 48 && y < 300 + 12) << words.toStdString() << " at " << x << "," << y;
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
}

// "FROM@X" of each window's label.
QStringList WindowLabels(const QString& svg)
{
    const QRegularExpression label("<text x=\"([0-9.]+)\" y=\"16.0\" fill=\"#555555\">from ([0-9]+)</text>");
    QStringList labels;
    for (auto m = label.globalMatch(svg); m.hasNext();)
    {
        const QRegularExpressionMatch match = m.next();
        labels += match.captured(2) + "@" + match.captured(1);
    }
    return labels;
}

TEST(SvgPlot, MarksWindowsPeaksAndRangesWithTheWordsOutsideThePlot)
{
    SampleBlock_T block;
    block.samples = {90, 40, 5, 3, 7, 60, 12, 60, 4, 1};
    const std::vector<ExpectationResult_T> expectations = {
        Expect("peak", "80..100", 0, 90, true),    Expect("peak", "40..60", 4, 60, true),
        Expect("peak-index", "6..7", 4, 5, false), Expect("peak-index", "6..7", 5, 5, false),
        Expect("mean", "0..20", 2, 18.875, true),  Expect("samples", "10", 0, 10, true)};
    const QString svg = CSvgPlot().Render(block, expectations);
    ExpectNoTextInThePlottingArea(svg);
    EXPECT_EQ(Between(svg, "<g class=\"legend\">", "\n</g>\n").toStdString(),
              "<g class=\"legend\">\n"
              "<g transform=\"translate(64.0 366.0)\"><line x1=\"0\" y1=\"-5\" x2=\"16\" y2=\"-5\" stroke=\"#1f4e9c\" "
              "stroke-width=\"2\"/><text x=\"24\">10 samples</text></g>\n"
              "<g transform=\"translate(64.0 386.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#2e9e44\" fill-opacity=\"0.18\" stroke=\"#2e9e44\" stroke-dasharray=\"4 3\"/><text x=\"24\">"
              "<tspan fill=\"#2e9e44\" font-weight=\"bold\">1</tspan> peak: expected 80..100, measured 90, met</text>"
              "</g>\n"
              "<g transform=\"translate(64.0 406.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#2e9e44\" fill-opacity=\"0.18\" stroke=\"#2e9e44\" stroke-dasharray=\"4 3\"/><text x=\"24\">"
              "<tspan fill=\"#2e9e44\" font-weight=\"bold\">2</tspan> peak from 4: expected 40..60, measured 60, met"
              "</text></g>\n"
              "<g transform=\"translate(64.0 426.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#d0342c\" fill-opacity=\"0.18\" stroke=\"#d0342c\" stroke-dasharray=\"4 3\"/><text x=\"24\">"
              "<tspan fill=\"#d0342c\" font-weight=\"bold\">3</tspan> peak-index from 4: expected 6..7, measured 5, "
              "NOT met</text></g>\n"
              "<g transform=\"translate(64.0 446.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#d0342c\" fill-opacity=\"0.18\" stroke=\"#d0342c\" stroke-dasharray=\"4 3\"/><text x=\"24\">"
              "<tspan fill=\"#d0342c\" font-weight=\"bold\">4</tspan> peak-index from 5: expected 6..7, measured 5, "
              "NOT met</text></g>\n"
              "<g transform=\"translate(64.0 466.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#2e9e44\" fill-opacity=\"0.18\" stroke=\"#2e9e44\" stroke-dasharray=\"4 3\"/><text x=\"24\">"
              "<tspan fill=\"#2e9e44\" font-weight=\"bold\">5</tspan> mean from 2: expected 0..20, measured 18.875, "
              "met</text></g>\n"
              "<g transform=\"translate(64.0 486.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#555555\" fill-opacity=\"0.15\" stroke=\"#555555\" stroke-dasharray=\"2 2\"/><text x=\"24\">"
              "from 2: the samples before index 2 are left out</text></g>\n"
              "<g transform=\"translate(64.0 506.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#555555\" fill-opacity=\"0.15\" stroke=\"#555555\" stroke-dasharray=\"2 2\"/><text x=\"24\">"
              "from 4: the samples before index 4 are left out</text></g>\n"
              "<g transform=\"translate(64.0 526.0)\"><rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" "
              "fill=\"#555555\" fill-opacity=\"0.15\" stroke=\"#555555\" stroke-dasharray=\"2 2\"/><text x=\"24\">"
              "from 5: the samples before index 5 are left out</text></g>\n"
              "<g transform=\"translate(64.0 546.0)\"><circle cx=\"8\" cy=\"-5\" r=\"5\" fill=\"#ff8c00\"/>"
              "<text x=\"24\">peak: 90 at index 0</text></g>\n"
              "<g transform=\"translate(64.0 566.0)\"><circle cx=\"8\" cy=\"-5\" r=\"5\" fill=\"#ff8c00\"/>"
              "<text x=\"24\">peak from 4: 60 at index 5</text></g>\n"
              "<g transform=\"translate(64.0 586.0)\"><circle cx=\"8\" cy=\"-5\" r=\"5\" fill=\"#ff8c00\"/>"
              "<text x=\"24\">peak from 5: 60 at index 5</text></g>\n</g>\n");
    // The first of two equal peaks, at x = 64 + 5/9 * 788 and 60 on an axis to 105 (5 % over the range 80..100).
    EXPECT_EQ(svg.count("<circle class=\"peak\" cx=\"501.8\" cy=\"156.0\" r=\"5\" fill=\"#ff8c00\""), 2);
    EXPECT_EQ(WindowLabels(svg), (QStringList{"2@237.1", "4@412.2", "5@499.8"}));
    EXPECT_TRUE(svg.contains("<g class=\"range peak\"><rect x=\"414.2\" y=\""));  // from 4 on only
}

TEST(SvgPlot, UnjudgedBlockMarksItsOwnPeakAndEscapes)
{
    SampleBlock_T block;
    block.samples = {3, 9, 9, 1};
    const QString svg = CSvgPlot().Render(block, {Expect("peak", "<5..7>", 0, 9, false)});
    ExpectNoTextInThePlottingArea(svg);
    EXPECT_EQ(svg.count("<circle class=\"peak\""), 1);
    EXPECT_TRUE(svg.contains("<text x=\"24\">peak: 9 at index 1</text>"));
    EXPECT_FALSE(svg.contains("<5"));
    EXPECT_EQ(CSvgPlot().Render(block, {}).count("<g class=\"range"), 0);
    // An open side reaches the plot's edge; ".." alone (only from outside text) draws nothing.
    const QString open =
        CSvgPlot().Render(block, {Expect("peak", "5..", 0, 9, true), Expect("peak-index", "..2", 0, 1, true),
                                  Expect("mean", "..", 0, 5.5, false), Expect("peak", "..inf", 1, 9, true)});
    QStringList ranges;
    for (auto m = QRegularExpression("<g class=\"range[^>]*><rect [^>]*>").globalMatch(open); m.hasNext();)
        ranges << m.next().captured(0);
    // 5 up to the axis's top of 10 (9 + 5 %) is the upper half of 252 px; 0..2 of 0..3 is 2/3 of 788 px.
    EXPECT_EQ(ranges.join('\n').toStdString(),
              "<g class=\"range peak\"><rect x=\"64.0\" y=\"48.0\" width=\"788.0\" height=\"126.0\" "
              "fill=\"#2e9e44\" fill-opacity=\"0.18\" stroke=\"#2e9e44\" stroke-dasharray=\"4 3\"/>\n"
              "<g class=\"range peak-index\"><rect x=\"64.0\" y=\"48.0\" width=\"525.3\" height=\"252.0\" "
              "fill=\"#2e9e44\" fill-opacity=\"0.18\" stroke=\"#2e9e44\" stroke-dasharray=\"4 3\"/>");

    // Windows close together: each label goes just after the one before, 8 px a character.
    block.samples.assign(1000, 1);
    const QString close =
        CSvgPlot().Render(block, {Expect("mean", "0..2", 34, 1, true), Expect("mean", "0..2", 30, 1, true),
                                  Expect("peak", "0..2", 32, 1, true), Expect("peak-index", "1..2", 32, 32, true)});
    ExpectNoTextInThePlottingArea(close);
    EXPECT_EQ(WindowLabels(close), (QStringList{"30@85.7", "32@141.7", "34@197.7"}));
    // Value-range tags right of the plot, one under the other although their ranges coincide.
    EXPECT_EQ(close.count(QRegularExpression("<text x=\"858.0\" y=\"[0-9.]+\" fill=\"#2e9e44\" "
                                             "font-weight=\"bold\">[123]</text>")),
              3);
}
}

TEST(SvgPlot, FixedNumbersAreQtsOwnToTheLastDigit)
{
    // Exact quarters are the ties printf and Qt round differently; the rest
    // spread over the magnitudes a plot and its ticks meet.
    std::vector<double> values = {0.0,
                                  -0.0,
                                  0.05,
                                  -0.05,
                                  0.15,
                                  0.25,
                                  0.35,
                                  0.45,
                                  2.675,
                                  1e14 + 0.25,
                                  999999999999999.9,
                                  1e15,
                                  -1e15,
                                  1e300,
                                  std::numeric_limits<double>::infinity()};
    for (int k = -4000; k <= 4000; ++k)
        values.push_back(k / 4.0);
    unsigned long long state = 12345;
    for (int i = 0; i < 20000; ++i)
    {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        const double unit = static_cast<double>(state >> 11) / 9007199254740992.0;
        values.push_back((unit - 0.25) * std::pow(10.0, i % 9 - 2));
    }
    std::string mismatches;
    for (const double value : values)
    {
        QByteArray fast;
        CSvgPlot::AppendFixed(value, fast);
        const QString qt = QString::number(value, 'f', 1);
        if (QString::fromLatin1(fast) != qt)
            mismatches += QString("%1: %2 against %3\n").arg(value, 0, 'g', 17).arg(QString(fast), qt).toStdString();
    }
    EXPECT_EQ(mismatches, "");
}
