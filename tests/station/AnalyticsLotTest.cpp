// The analytics on a virtual production lot, end to end: 200 QL4K units run
// into an SQLite file, the failed ones tested again, then yield and control
// read what the lot's defective and marginal units did, and limits learned
// from the lot keep good units passing.
#include "StationProcess.h"

#include "DbTarget.h"
#include "ResultsDb.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace
{
const int c_Units = 200;
// A lot takes about a minute on two cores; a busy machine may take several.
const int c_LotSeconds = 1200;
// The step and the measurement a defective unit's weak echo fails; a marginal
// unit's echo lies on its lower limit, so its noise decides each attempt.
const char* const c_Plan = "# The bottom echo of the high band, all a lot's echo faults show in.\n"
                           "step high-band xkping 200kHPShort.txt 0 1\n"
                           "expect verdict passed\n"
                           "expect peak 199..215 from 32\n"
                           "expect noise ..8 from 32 to 112\n";

QString Serial(int unit)
{
    return QString("VQL4K-%1").arg(unit, 4, 10, QChar('0'));
}

std::set<QString> Column(const QString& db, const QString& sql)
{
    CDbTarget target;
    CResultsDb results;
    QString error;
    std::set<QString> values;
    QSqlQuery query;
    if (!CDbTarget::Parse(db, target, error) || !results.Open(target, error) || !results.Exec(query, sql, {}, error))
        return {"cannot query: " + error};
    while (query.next())
        values.insert(query.value(0).toString());
    return values;
}

QJsonObject Json(const StationRun_T& run)
{
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    return QJsonDocument::fromJson(run.output).object();
}

// As the commands write a figure: ten significant digits.
double Figure(double value)
{
    return QString::number(value, 'g', 10).toDouble();
}

double Share(int part, int whole)
{
    return Figure(static_cast<double>(part) / whole);
}

// The run ids and values of a measurement of the lot's first passes.
std::vector<std::pair<QString, double>> FirstPassValues(const QString& db, const QString& key)
{
    std::vector<std::pair<QString, double>> values;
    const QString sql = "SELECT run_id, value FROM measurement_values WHERE attempt = 1 AND result = 'passed' AND "
                        "step = 'high-band' AND from_index = 32 AND expectation = '%1'";
    for (const QString& row : TestDb::RowList(db, sql.arg(key)))
        values.emplace_back(row.section('|', 0, 0), row.section('|', 1).toDouble());
    return values;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 ? values[half] : (values[half - 1] + values[half]) / 2;
}

// limits --json as a whole: its counts, medians, MADs and yields worked out here
// from the stored values; the plan written with its limits; good units the lot
// never ran pass that plan and a defective one fails it.
void ExpectLimitsFromTheLot(const QTemporaryDir& dir, const QString& db, const QString& plan, int passes)
{
    const QString learned = dir.filePath("learned.txt");
    // K 4 narrows the noise's limits on both sides; the peak's spread keeps the plan's.
    const QJsonObject limits =
        Json(RunStation({"limits", plan, "--virtual", "--k", "4", "--json", "--db", db, "--out", learned}));
    const QJsonArray proposed = limits["measurements"].toArray();
    ASSERT_EQ(proposed.size(), 2) << QJsonDocument(limits).toJson().toStdString();
    const struct
    {
        const char* key;
        QJsonValue oldLsl;
        QJsonValue oldUsl;
    } measurements[] = {{"peak", 199, 215}, {"noise", QJsonValue(), 8}};
    QJsonArray expected;
    std::set<QString> lostRuns;
    for (int i = 0; i < 2; ++i)
    {
        const auto& m = measurements[i];
        const std::vector<std::pair<QString, double>> runs = FirstPassValues(db, m.key);
        std::vector<double> values, deviations;
        for (const auto& run : runs)
            values.push_back(run.second);
        const double median = Median(values);
        for (double value : values)
            deviations.push_back(std::fabs(value - median));
        // The new limits lie within the old and hold the median; the runs they lose count against their FPY.
        const double lsl = proposed[i]["new_lsl"].toDouble(), usl = proposed[i]["new_usl"].toDouble();
        EXPECT_TRUE((m.oldLsl.isNull() || lsl >= m.oldLsl.toDouble()) && lsl <= median && median <= usl &&
                    usl <= m.oldUsl.toDouble())
            << m.key << " " << lsl << ".." << usl;
        int lost = 0;
        for (const auto& run : runs)
            if (run.second < lsl || run.second > usl)
            {
                ++lost;
                lostRuns.insert(run.first);
            }
        expected.append(QJsonObject{{"step", "high-band"},
                                    {"key", m.key},
                                    {"from", 32},
                                    {"old_lsl", m.oldLsl},
                                    {"old_usl", m.oldUsl},
                                    {"new_lsl", lsl},
                                    {"new_usl", usl},
                                    {"golden_outside", false},
                                    {"n", passes},
                                    {"median", Figure(median)},
                                    {"mad", Figure(Median(deviations))},
                                    {"new_fpy", Share(passes - lost, c_Units)}});
    }
    EXPECT_EQ(QJsonDocument(limits).toJson().toStdString(),
              QJsonDocument(QJsonObject{{"plan", "echo.txt"},
                                        {"new_plan", learned},
                                        {"k", 4},
                                        {"units", c_Units},
                                        {"first_attempt_passes", passes},
                                        {"fpy", Share(passes, c_Units)},
                                        {"new_fpy", Share(passes - static_cast<int>(lostRuns.size()), c_Units)},
                                        {"measurements", expected}})
                  .toJson()
                  .toStdString());
    const auto range = [&](int i) {
        return QString("%1..%2").arg(proposed[i]["new_lsl"].toDouble()).arg(proposed[i]["new_usl"].toDouble());
    };
    EXPECT_EQ(TestDb::Read(learned).toStdString(), QString(c_Plan)
                                                       .replace("peak 199..215", "peak " + range(0))
                                                       .replace("noise ..8", "noise " + range(1))
                                                       .toStdString());

    // Units 201 to 205 are good ones of the same lot; 208 is defective.
    const StationRun_T good = RunStation({"run", learned, "--lot", "ql4k:5:201", "-j", "2", "--db", "none"});
    EXPECT_EQ(good.exitCode, 0) << good.errors.toStdString();
    const StationRun_T defective = RunStation({"run", learned, "--lot", "ql4k:1:208", "--db", "none"});
    EXPECT_EQ(defective.exitCode, 1);
    EXPECT_TRUE(defective.errors.contains("serial VQL4K-0208: NOT MET") &&
                defective.errors.contains("first unmet: high-band peak from 32 expected " + range(0) + ", measured "))
        << defective.errors.toStdString();
}
}

TEST(AnalyticsLot, TwoHundredUnitsWithRetestsShowTheirFaultsInYieldParetoAndControlChart)
{
    QTemporaryDir dir;
    const QString db = dir.filePath("lot.db");
    const QString plan = dir.filePath("echo.txt");
    QFile file(plan);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(c_Plan) > 0);
    file.close();
    std::set<QString> defective, marginal;
    for (int unit = 1; unit <= c_Units; ++unit)
        if (unit % 16 == 0)
            defective.insert(Serial(unit));
        else if (unit % 16 == 7)
            marginal.insert(Serial(unit));

    const StationRun_T lot = RunStation({"run", plan, "--lot", QString("ql4k:%1").arg(c_Units), "-j", "2", "--db", db},
                                        QProcessEnvironment::systemEnvironment(), c_LotSeconds);
    ASSERT_EQ(lot.exitCode, 1) << lot.errors.toStdString();
    // Every defective unit fails, no normal one does, and marginal ones may.
    const std::set<QString> firstFailed = Column(db, "SELECT serial FROM runs WHERE result = 'failed'");
    std::set<QString> expected = defective;
    for (const QString& serial : firstFailed)
        if (marginal.count(serial))
            expected.insert(serial);
    ASSERT_EQ(firstFailed, expected);

    QStringList retest = {"run", plan, "-j", "2", "--db", db};
    for (const QString& serial : firstFailed)
        retest << "--lot"
               << "ql4k:1:" + QString::number(serial.mid(6).toInt());
    ASSERT_EQ(RunStation(retest, QProcessEnvironment::systemEnvironment(), c_LotSeconds).exitCode, 1);
    EXPECT_EQ(Column(db, "SELECT serial || ' ' || attempt FROM runs WHERE attempt = 2").size(), firstFailed.size());
    const std::set<QString> secondFailed =
        Column(db, "SELECT serial FROM runs WHERE attempt = 2 AND result = 'failed'");
    expected = defective;
    for (const QString& serial : secondFailed)
        if (marginal.count(serial))
            expected.insert(serial);
    ASSERT_EQ(secondFailed, expected);
    // A marginal unit that failed once and then passed is what sets FPY below SPY.
    ASSERT_LT(secondFailed.size(), firstFailed.size());

    const int first = static_cast<int>(firstFailed.size()), second = static_cast<int>(secondFailed.size());
    const int runs = c_Units + first, passedRuns = runs - first - second;
    const QJsonObject yield = Json(RunStation({"yield", "--json", "--virtual", "--db", db}));
    EXPECT_EQ(yield["total"].toObject(), (QJsonObject{{"units", c_Units},
                                                      {"runs", runs},
                                                      {"passed_runs", passedRuns},
                                                      {"fpy", Share(c_Units - first, c_Units)},
                                                      {"spy", Share(c_Units - second, c_Units)},
                                                      {"tpy", Share(c_Units - second, c_Units)},
                                                      {"lpy", Share(c_Units - second, c_Units)},
                                                      {"run_yield", Share(passedRuns, runs)}}));
    EXPECT_LT(yield["total"]["fpy"].toDouble(), yield["total"]["spy"].toDouble());
    EXPECT_EQ(
        yield["pareto"].toArray(),
        (QJsonArray{QJsonObject{
            {"failures", first + second}, {"key", "peak from 32"}, {"plan", "echo.txt"}, {"step", "high-band"}}}));
    // Without --virtual a lot of virtual units is no production at all.
    EXPECT_EQ(Json(RunStation({"yield", "--json", "--db", db}))["total"].toObject()["units"].toInt(), 0);

    // Every run of a defective unit, and nothing else, lies beyond 3 sigma of
    // the echo's chart; other rules may flag normal units' runs.
    const QJsonObject chart =
        Json(RunStation({"control", "high-band", "peak", "--from", "32", "--json", "--virtual", "--db", db}));
    std::map<QString, QString> serials;
    for (const QJsonValue& point : chart["points"].toArray())
        serials[point["run_id"].toString()] = point["serial"].toString();
    EXPECT_EQ(serials.size(), static_cast<size_t>(runs));
    std::multiset<QString> beyond;
    for (const QJsonValue& flagged : chart["flagged"].toArray())
        if (flagged["rules"].toArray().contains("beyond-3-sigma"))
            beyond.insert(serials[flagged["run_id"].toString()]);
    std::multiset<QString> twice;
    for (const QString& serial : defective)
        twice.insert({serial, serial});
    EXPECT_EQ(beyond, twice);

    ExpectLimitsFromTheLot(dir, db, plan, c_Units - first);
}
