// The result files of one run with a met and an unmet step on two units.
#include "StationProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace
{
class Outputs : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_Dir = new QTemporaryDir;
        QFile plan(s_Dir->filePath("plan.txt"));
        ASSERT_TRUE(plan.open(QIODevice::WriteOnly));
        plan.write("step xk xkping 200kHPShort.txt 0 1\nexpect peak 240..255\nexpect peak-index ..9 from 32\nexpect "
                   "mean 0..\n"
                   "step volts batteryvoltage\nexpect reading 3012\n");
        plan.close();
        s_Run = RunStation({"run", plan.fileName(), "--unit", "ql4k", "--unit", "varrow", "-j2", "--json",
                            Path("r.json"), "--junit", Path("r.xml"), "--report", Path("html")});
    }
    static void TearDownTestSuite() { delete s_Dir; }
    static QString Path(const QString& name) { return s_Dir->filePath(name); }
    static QString Read(const QString& name)
    {
        QFile file(Path(name));
        file.open(QIODevice::ReadOnly);
        return QString::fromUtf8(file.readAll());
    }
    static QTemporaryDir* s_Dir;
    static StationRun_T s_Run;
};
QTemporaryDir* Outputs::s_Dir = nullptr;
StationRun_T Outputs::s_Run;

TEST_F(Outputs, TheConsoleSaysWhatWasNotMetAndWhereTheResultsAre)
{
    EXPECT_EQ(s_Run.exitCode, 1);
    EXPECT_EQ(s_Run.output, QByteArray());
    QStringList lines = TimelessLines(s_Run.errors);
    ASSERT_EQ(lines.size(), 10) << s_Run.errors.toStdString();
    // The two units run at the same time: their steps' lines interleave.
    QStringList progress = lines.mid(0, 4);
    progress.sort();
    const QString dir = s_Dir->path();
    EXPECT_EQ(
        (progress + lines.mid(4)).join('\n').toStdString(),
        QStringList({"ql4k volts: performed, met (T s)",
                     "ql4k xk: passed, NOT MET: peak-index from 32 expected ..9, measured 122 (T s)",
                     "varrow volts: performed, met (T s)",
                     "varrow xk: failed, NOT MET: verdict expected passed or performed, measured failed (T s)",
                     "ql4k, serial 0412345678: NOT MET, 1 of 2 steps not met: xk; first unmet: xk peak-index from 32 "
                     "expected ..9, measured 122",
                     "varrow, serial 0412345678: NOT MET, 1 of 2 steps not met: xk; first unmet: xk verdict expected "
                     "passed or performed, measured failed",
                     "2 units, 4 steps: 2 met, 2 not met, 0 not run (T s, -j 2)", "JSON written to " + dir + "/r.json",
                     "JUnit written to " + dir + "/r.xml", "HTML report written to " + dir + "/html/index.html"})
            .join('\n')
            .toStdString());
}

TEST_F(Outputs, JunitIsValidForCiServers)
{
    ExpectValidJunit(Path("r.xml"));
}

TEST_F(Outputs, JsonHoldsEveryField)
{
    const QJsonObject root = ReadJson(Path("r.json"));
    EXPECT_EQ(root.keys(), (QStringList{"met", "plan", "units"}));
    EXPECT_FALSE(root["met"].toBool());
    const QJsonArray units = root["units"].toArray();
    ASSERT_EQ(units.size(), 2);
    EXPECT_EQ(units[0]["unit"].toString(), "ql4k");
    EXPECT_EQ(units[1]["unit"].toString(), "varrow");
    const QJsonObject xk = units[0]["steps"][0].toObject();
    EXPECT_EQ(xk.keys(), (QStringList{"blocks", "command", "errors", "exit_status", "expectations", "met", "name",
                                      "reading", "report", "samples", "seconds", "stderr", "unit_data", "verdict"}));
    EXPECT_EQ(xk["command"].toArray(), (QJsonArray{"xkping", "200kHPShort.txt", "0", "1"}));
    EXPECT_EQ(xk["samples"][0].toArray().size(), 1024);
    EXPECT_EQ(
        xk["blocks"][0]["lines"].toArray(),
        (QJsonArray{"Element: 1 Centre Freq: 1503 & RxBand: PingConfigRxBand_HF", "Samples: 1024 Buffer Bytes: 2048"}));
    EXPECT_TRUE(xk["report"].toString().contains("\nTest Result: Test Passed.\n"));
    EXPECT_TRUE(xk["reading"].isNull());
    EXPECT_EQ(
        xk["expectations"][2].toObject(),
        (QJsonObject{{"key", "peak-index"}, {"expected", "..9"}, {"from", 32}, {"measured", 122}, {"met", false}}));
    const QJsonObject failed = units[1]["steps"][0].toObject();
    EXPECT_EQ(failed["verdict"].toString(), "failed");
    EXPECT_EQ(failed["errors"].toArray(),
              (QJsonArray{"ERROR: Product not supported.", "ERROR: Use only for xK derivitives."}));
    EXPECT_EQ(failed["unit_data"]["Platfrom"].toString(), "Varrow");
    EXPECT_EQ(units[1]["steps"][1]["reading"].toDouble(), 3012);
    EXPECT_TRUE(units[1]["steps"][1]["met"].toBool());
}

TEST_F(Outputs, JunitHasASuitePerUnitAndAFailurePerUnmetExpectation)
{
    QXmlStreamReader xml(Read("r.xml"));
    QString outline;
    while (!xml.atEnd())
        if (xml.readNext() == QXmlStreamReader::StartElement)
        {
            const QXmlStreamAttributes a = xml.attributes();
            if (xml.name() == QLatin1String("testsuite"))
                outline += QString("suite %1 tests=%2 failures=%3\n")
                               .arg(a.value("name"), a.value("tests"), a.value("failures"));
            else if (xml.name() == QLatin1String("testcase"))
                outline += QString(" case %1/%2\n").arg(a.value("classname"), a.value("name"));
            else if (xml.name() == QLatin1String("failure"))
                outline += "  failure " + a.value("message") + "\n";
            else if (xml.name() == QLatin1String("system-out"))
                outline += QString("  out %1\n").arg(xml.readElementText().contains("Test Result:"));
        }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    EXPECT_EQ(outline.toStdString(),
              "suite ql4k tests=2 failures=1\n case ql4k/xk\n  failure peak-index from 32: expected ..9, measured 122\n"
              "  out 1\n case ql4k/volts\n  out 1\n"
              "suite varrow tests=2 failures=1\n case varrow/xk\n  failure verdict: expected passed or performed, "
              "measured failed\n  failure peak: expected 240..255, measured nothing measured\n"
              "  failure peak-index from 32: expected ..9, measured nothing measured\n"
              "  failure mean: expected 0.., measured nothing measured\n  out 1\n"
              " case varrow/volts\n  out 1\n");
}

TEST_F(Outputs, HtmlReportIsAGridOfLinkedSelfContainedPages)
{
    const QString index = Read("html/index.html");
    const QString grid = index.section("<table class=\"grid\">", 1);
    EXPECT_EQ(grid.count("<tr>"), 3);
    EXPECT_EQ(grid.count("<td class=\"unmet\">"), 2);
    EXPECT_EQ(grid.count("<td class=\"met\">"), 2);
    const QRegularExpression link("href=\"([^\"]+)\"");
    QSet<QString> pages;
    for (auto match = link.globalMatch(index); match.hasNext();)
        pages.insert(match.next().captured(1));
    for (const QString& name : pages)
    {
        const QString page = Read("html/" + name);
        EXPECT_TRUE(page.contains("<h2>Report</h2>")) << name.toStdString();
        for (const char* external : {"<script", "src=", "<link", "url(", "https:"})
            EXPECT_FALSE(page.contains(external)) << external;
        EXPECT_EQ(page.count("http:"), page.count("xmlns=\"http://www.w3.org/2000/svg\""));
    }
    EXPECT_EQ(pages.size(), 4);
    const QString plot = Read("html/unit1-xk.html");
    EXPECT_EQ(plot.count("<svg "), 1);
    for (const char* part :
         {">sample index</text>", ">amplitude</text>", "class=\"range peak\"", "class=\"range peak-index\"",
          "</tspan> peak-index from 32: expected ..9, measured 122, NOT met</text>", "<polyline class=\"samples\"",
          "<text x=\"24\">peak from 32: 200 at index 122</text>", "<g class=\"window\">"})
        EXPECT_TRUE(plot.contains(part)) << part;
    EXPECT_EQ(plot.section("points=\"", 1).section('"', 0, 0).split(' ').size(), 1024);
    // The page rounds a mean to six significant digits; the JSON keeps them all.
    const QRegularExpressionMatch mean = QRegularExpression("<td>mean</td><td>0..</td><td>([0-9.]+)</td>").match(plot);
    ASSERT_TRUE(mean.hasMatch());
    EXPECT_EQ(mean.captured(1).toDouble(),
              QString::number(
                  ReadJson(Path("r.json"))["units"][0]["steps"][0]["expectations"][3]["measured"].toDouble(), 'g', 6)
                  .toDouble());
    EXPECT_LE(mean.captured(1).remove('.').size(), 6);
}
}
