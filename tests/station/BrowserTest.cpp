// The HTML report and the dashboard in a real browser: headless Chromium takes
// screenshots of their pages, also of the report while a run lasts, and their
// pixels must show what the pages draw.
#include "HeadlessChromium.h"
#include "HtmlReport.h"
#include "StationProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonValue>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <cstdlib>
#include <gtest/gtest.h>

namespace
{
struct Image_T
{
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;
};

quint32 Be32(const QByteArray& bytes, int at)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.constData() + at);
    return (quint32(p[0]) << 24) | (quint32(p[1]) << 16) | (quint32(p[2]) << 8) | p[3];
}

int Paeth(int a, int b, int c)
{
    const int p = a + b - c;
    const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return pa <= pb && pa <= pc ? a : (pb <= pc ? b : c);
}

// Just enough PNG for a browser's screenshot: 8-bit RGB or RGBA, not interlaced.
bool DecodePng(const QByteArray& png, Image_T& image)
{
    if (!png.startsWith("\x89PNG\r\n\x1a\n") || png.mid(12, 4) != "IHDR")
        return false;
    image.width = static_cast<int>(Be32(png, 16));
    image.height = static_cast<int>(Be32(png, 20));
    const int channels = png[25] == 6 ? 4 : (png[25] == 2 ? 3 : 0);
    if (png[24] != 8 || channels == 0 || png[28] != 0)
        return false;
    QByteArray idat;
    for (int at = 8; at + 8 <= png.size(); at += 12 + static_cast<int>(Be32(png, at)))
        if (png.mid(at + 4, 4) == "IDAT")
            idat += png.mid(at + 8, static_cast<int>(Be32(png, at)));
    const int stride = image.width * channels;
    QByteArray size(4, 0);
    const quint32 expected = static_cast<quint32>((stride + 1) * image.height);
    for (int i = 0; i < 4; ++i)
        size[i] = static_cast<char>(expected >> (24 - 8 * i));
    const QByteArray raw = qUncompress(size + idat);
    if (raw.size() != static_cast<int>(expected))
        return false;
    std::vector<unsigned char> previous(stride, 0), row(stride);
    for (int y = 0; y < image.height; ++y)
    {
        const auto* line = reinterpret_cast<const unsigned char*>(raw.constData()) + y * (stride + 1);
        for (int x = 0; x < stride; ++x)
        {
            const int a = x >= channels ? row[x - channels] : 0;
            const int b = previous[x];
            const int c = x >= channels ? previous[x - channels] : 0;
            const int predictors[] = {0, a, b, (a + b) / 2, Paeth(a, b, c)};
            row[x] = static_cast<unsigned char>(line[1 + x] + predictors[line[0] % 5]);
        }
        for (int x = 0; x < image.width; ++x)
            image.rgb.insert(image.rgb.end(), row.begin() + x * channels, row.begin() + x * channels + 3);
        previous = row;
    }
    return true;
}

int CountColour(const Image_T& image, int r, int g, int b, int tolerance)
{
    int count = 0;
    for (size_t i = 0; i + 2 < image.rgb.size(); i += 3)
        count += std::abs(image.rgb[i] - r) <= tolerance && std::abs(image.rgb[i + 1] - g) <= tolerance &&
                 std::abs(image.rgb[i + 2] - b) <= tolerance;
    return count;
}

Image_T Screenshot(const QString& chromium, const QString& page, int height = 900)
{
    CHeadlessChromium browser;
    QString error;
    QByteArray png;
    Image_T image;
    EXPECT_TRUE(browser.Start(chromium, error) && browser.Open("file://" + page, 1200, height, error) &&
                browser.Screenshot(png, error))
        << page.toStdString() << ": " << error.toStdString();
    EXPECT_TRUE(DecodePng(png, image)) << "no PNG screenshot of " << page.toStdString();
    return image;
}

TEST(Browser, ScreenshotsShowTheGridAndThePlot)
{
    const QString chromium = QStandardPaths::findExecutable("chromium");
    if (chromium.isEmpty())
        GTEST_SKIP() << "chromium not installed (Debian chromium): the HTML report is NOT checked in a browser";
    QTemporaryDir dir;
    const StationRun_T run = RunStation(
        {"run", PlanFile("cor.txt"), "--unit", "ql4k", "--unit", "varrow", "--report", dir.filePath("html")});
    ASSERT_EQ(run.exitCode, 1) << run.errors.toStdString();

    const Image_T grid = Screenshot(chromium, dir.filePath("html/index.html"));
    EXPECT_EQ(grid.width, 1200);
    EXPECT_EQ(grid.height, 900);
    // In sight at the top: the QL4K's verdict cell green, the Varrow's red, each some hundreds of pixels.
    const int green = CountColour(grid, 0x8f, 0xd1, 0x9e, 2);
    const int red = CountColour(grid, 0xf1, 0x9a, 0x94, 2);
    EXPECT_GT(green, 1500);
    EXPECT_GT(red, 1500);
    EXPECT_LT(green + red, 1200 * 900 / 4);

    // The high band's ten expectations push its plot down: a taller window keeps it in sight, its legend not.
    const Image_T plot = Screenshot(chromium, dir.filePath("html/unit1-high-band.html"), 1000);
    ASSERT_EQ(plot.rgb.size(), 1200u * 1000u * 3u);
    EXPECT_GT(CountColour(plot, 0x1f, 0x4e, 0x9c, 40), 1500) << "the sample trace";
    // Two peak markers (r = 5) in the plot; the legend is below the window.
    const int peaks = CountColour(plot, 0xff, 0x8c, 0x00, 30);
    EXPECT_GT(peaks, 2 * 40) << "the peak markers";
    EXPECT_LT(peaks, 2 * 100) << "the peak markers";
    EXPECT_GT(CountColour(plot, 0xff, 0xff, 0xff, 0), 1200 * 900 / 4) << "a white page";
}

// A plan of 200 steps on 2 units, with long names, fits 1200 px: the browser
// lays the index out and says how wide it is.
TEST(Browser, TwoHundredStepsNeedNoSidewaysScrolling)
{
    const QString chromium = QStandardPaths::findExecutable("chromium");
    if (chromium.isEmpty())
        GTEST_SKIP() << "chromium not installed (Debian chromium): the HTML report is NOT checked in a browser";
    StationResults_T results;
    results.plan = "plans/" + QString(80, 'p') + ".txt";
    for (const QString& name : {QString("ql4k"), "ssh:" + QString(60, 'h')})
    {
        UnitResult_T unit;
        unit.unit = name;
        for (int s = 0; s < 200; ++s)
        {
            StepResult_T step;
            step.name = QString("step-%1-").arg(s) + QString(60, 'x');
            step.verdict = s % 3 ? "passed" : "failed";
            ExpectationResult_T expectation;
            expectation.key = "verdict";
            expectation.expected = "passed or performed";
            expectation.measured = step.verdict + QString(50, 'y');
            step.expectations.push_back(expectation);
            unit.steps.push_back(step);
        }
        results.units.push_back(unit);
    }
    QTemporaryDir dir;
    QFile page(dir.filePath("index.html"));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write(CHtmlReport().Index(results).toUtf8());
    page.close();
    CHeadlessChromium browser;
    QString error;
    QJsonValue rows;
    QJsonValue widths;
    ASSERT_TRUE(browser.Start(chromium, error) && browser.Open("file://" + page.fileName(), 1200, 900, error) &&
                browser.Evaluate("document.querySelectorAll('tr').length", rows, error) &&
                browser.Evaluate("document.documentElement.scrollWidth + ' ' + document.documentElement.clientWidth",
                                 widths, error))
        << error.toStdString();
    EXPECT_EQ(rows.toInt(), 1 + 2 + 1 + 2 * 200 + 1 + 200) << "units, unmet list, grid";
    EXPECT_EQ(widths.toString().toStdString(), "1200 1200");
}

// What the browser shows of an index: a screenshot, each tile's lines and the reload.
struct Look_T
{
    Image_T image;
    std::string tiles;
    std::string refresh;
};

Look_T Look(const QString& chromium, const QString& page)
{
    CHeadlessChromium browser;
    QString error;
    QByteArray png;
    QJsonValue tiles;
    QJsonValue refresh;
    EXPECT_TRUE(browser.Start(chromium, error) && browser.Open("file://" + page, 1200, 900, error) &&
                browser.Evaluate("Array.from(document.querySelectorAll('div.tile')).map(t => "
                                 "Array.from(t.children).map(c => c.textContent).join(' / ')).join('\\n')",
                                 tiles, error) &&
                browser.Evaluate("(document.querySelector('meta[http-equiv=refresh]') || {content: 'none'}).content",
                                 refresh, error) &&
                browser.Screenshot(png, error))
        << page.toStdString() << ": " << error.toStdString();
    Look_T look;
    EXPECT_TRUE(DecodePng(png, look.image)) << "no PNG screenshot of " << page.toStdString();
    look.tiles = tiles.toString().toStdString();
    look.refresh = refresh.toString().toStdString();
    return look;
}

// The report follows a run: while both units wait in their first step (their
// launcher holds it until the test lets it go) the index reloads and shows
// how far each is; after the run, PASS and FAIL in large green and red tiles.
TEST(Browser, TheReportFollowsTheRunAndEndsInLargeVerdicts)
{
    const QString chromium = QStandardPaths::findExecutable("chromium");
    if (chromium.isEmpty())
        GTEST_SKIP() << "chromium not installed (Debian chromium): the live report is NOT checked in a browser";
    QTemporaryDir dir;
    const QString d = dir.path();
    QFile plan(d + "/plan.txt");
    ASSERT_TRUE(plan.open(QIODevice::WriteOnly));
    plan.write("step count speed 1\nstep xk xkping 200kHPShort.txt 0 1\nexpect peak 240..255\n");
    plan.close();
    QFile launcher(d + "/launcher");
    ASSERT_TRUE(launcher.open(QIODevice::WriteOnly));
    launcher.write(QByteArray("#!/bin/sh\ncase \"$*\" in *speed*) touch \"$0.$$\"\n"
                              "  while [ ! -e \"$0.go\" ]; do sleep 0.1; done;; esac\nexec ") +
                   VUNIT_BINARY + " \"$@\"\n");
    launcher.close();
    ASSERT_TRUE(launcher.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QProcess station;
    station.setProcessEnvironment(StationEnvironment(QProcessEnvironment::systemEnvironment()));
    station.start(SONARSTATION_BINARY, {"run", plan.fileName(), "--vunit", launcher.fileName(), "--unit", "ql4k",
                                        "--unit", "varrow", "-j2", "--db", "none", "--report", d + "/html"});
    for (int i = 0; i < 1200 && QDir(d).entryList({"launcher.*"}).size() < 2; ++i)
        QThread::msleep(25);
    ASSERT_EQ(QDir(d).entryList({"launcher.*"}).size(), 2) << "the units never reached their first step";

    const Look_T during = Look(chromium, d + "/html/index.html");
    EXPECT_EQ(during.refresh, "2");
    EXPECT_EQ(during.tiles, "0412345678 / 0 of 2 steps / now: count / 0 failed / ql4k\n"
                            "0412345678 / 0 of 2 steps / now: count / 0 failed / varrow");
    EXPECT_EQ(CountColour(during.image, 0x2e, 0x9e, 0x44, 8), 0) << "no verdict yet";
    EXPECT_EQ(CountColour(during.image, 0xd0, 0x34, 0x2c, 8), 0) << "no verdict yet";
    EXPECT_GT(CountColour(during.image, 0x9c, 0xc3, 0xf0, 2), 2 * 5000) << "the running cells";

    QFile(d + "/launcher.go").open(QIODevice::WriteOnly);
    ASSERT_TRUE(station.waitForFinished(60000));
    EXPECT_EQ(station.exitCode(), 1) << station.readAllStandardError().toStdString();
    const Look_T after = Look(chromium, d + "/html/index.html");
    EXPECT_EQ(after.refresh, "none");
    EXPECT_EQ(after.tiles, "0412345678 / PASS / ql4k\n0412345678 / FAIL / varrow");
    // Each tile some 300 x 200 px of solid colour: readable across the bench.
    EXPECT_GT(CountColour(after.image, 0x2e, 0x9e, 0x44, 8), 30000);
    EXPECT_GT(CountColour(after.image, 0xd0, 0x34, 0x2c, 8), 30000);
}
}

namespace
{
// scrollWidth and clientWidth of PAGE at 1200 px: equal when nothing sticks out sideways.
QString Widths(const QString& chromium, const QString& page)
{
    CHeadlessChromium browser;
    QString error;
    QJsonValue widths;
    EXPECT_TRUE(browser.Start(chromium, error) && browser.Open("file://" + page, 1200, 900, error) &&
                browser.Evaluate("document.documentElement.scrollWidth + ' ' + document.documentElement.clientWidth",
                                 widths, error))
        << page.toStdString() << ": " << error.toStdString();
    return widths.toString();
}
}

// The dashboard of a stored virtual lot with a defective unit (the 16th): its pages fit the
// window and draw the Pareto's bar, the control chart and the unit's echo.
TEST(Browser, DashboardOfAStoredLotFitsAndDrawsItsCharts)
{
    const QString chromium = QStandardPaths::findExecutable("chromium");
    if (chromium.isEmpty())
        GTEST_SKIP() << "chromium not installed (Debian chromium): the dashboard is NOT checked in a browser";
    QTemporaryDir dir;
    const QString db = dir.filePath("lot.db");
    const StationRun_T lot = RunStation({"run", PlanFile("cor.txt"), "--lot", "ql4k:16", "--db", db, "-j", "2"});
    ASSERT_EQ(lot.exitCode, 1) << lot.errors.toStdString();
    const QString out = dir.filePath("dashboard");
    const StationRun_T run = RunStation({"dashboard", "--db", db, "--virtual", "--out", out});
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QStringList units = QDir(out).entryList({"unit-*.html"}, QDir::Files, QDir::Name);
    ASSERT_EQ(units.size(), 16);
    for (const QString& page : {QString("index.html"), QString("units.html"), QString("control-1.html"), units[15]})
        EXPECT_EQ(Widths(chromium, out + "/" + page).toStdString(), "1200 1200") << page.toStdString();

    const Image_T index = Screenshot(chromium, out + "/index.html");
    // The defective unit's failure as the Pareto's one bar, 40 % of the table wide.
    EXPECT_GT(CountColour(index, 0xd0, 0x34, 0x2c, 2), 1500) << "the Pareto's bar";
    EXPECT_GT(CountColour(index, 0xff, 0xff, 0xff, 0), 1200 * 900 / 4) << "a white page";
    const Image_T control = Screenshot(chromium, out + "/control-1.html");
    EXPECT_GT(CountColour(control, 0x1f, 0x4e, 0x9c, 40), 300) << "the points and their line";
    const Image_T unit = Screenshot(chromium, out + "/" + units[15]);
    EXPECT_GT(CountColour(unit, 0xf1, 0x9a, 0x94, 2), 500) << "the failed run's cell";
}
