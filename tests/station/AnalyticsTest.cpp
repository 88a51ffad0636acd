// Yields, the failure Pareto, capability and control charts on small
// histories with answers worked out by hand, and on a published reference
// example: the same answers from SQLite and from PostgreSQL.
#include "EngineTest.h"

#include "Analytics.h"
#include "AnalyticsCommands.h"
#include "AnalyticsFormat.h"
#include "DbTarget.h"
#include "ResultsDb.h"
#include "RunRows.h"
#include "StepRows.h"

#include <QJsonDocument>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QUuid>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>

namespace
{
// One run a line: SERIAL STATION TIME RESULT [virtual] [product=NAME] [plan=NAME] : STEP ; STEP ...
// A step is NAME[#TRY][!VERDICT] KEY[/FROM]=VALUE@EXPECTED...; a value is met
// inside EXPECTED's range (MIN..MAX, MIN.., ..MAX or one number) or equal to it.
// TIME is in 2026, UTC; an aborted run is never finished.
const char* const c_Yields[] = {
    "U0 A 02-28T10:00 failed : ping peak/32=350@200..300",
    "U0 A 03-01T08:00 passed : ping peak/32=250@200..300",
    "U1 A 03-01T08:10 passed : ping#1 peak/32=350@200..300 ; ping#2 peak/32=250@200..300",
    "U2 A 03-01T08:20 failed : battery reading=12@11.5.. ; ping samples=4@4 peak/32=350@200..300",
    "U2 B 03-01T08:30 passed : ping peak/32=250@200..300",
    "U3 B 03-01T08:40 failed : battery reading=11@11.5.. ; ping peak/32=350@200..300",
    "U3 B 03-01T08:50 aborted : battery reading=12@11.5..",
    "U3 A 03-02T08:00 failed : ping#1 samples=4@4 peak/32=350@200..300 ; ping#2 samples=3@4 peak/32=250@200..300",
    "U3 A 03-02T08:10 passed : ping peak/32=250@200..300",
    "U4 B 03-01T09:00 failed : ping peak/32=350@200..300",
    "U4 B 03-01T09:10 failed : ping peak/32=350@200..300",
    "U4 B 03-01T09:20 failed : ping peak/32=350@200..300",
    "U4 A 03-02T09:00 failed : ping peak/32=250@200..300 ; pin verdict=failed@passed",
    "U4 A 03-02T09:10 passed : pin verdict=passed@passed",
    "U5 B 03-02T10:00 failed product=QL2K : ping peak/32=250@200..300 ; pin!timeout verdict=timeout@passed",
    "V1 V 03-01T10:00 passed virtual : ping peak/32=250@200..300",
};

const char* const c_Capability[] = {
    "S1 A 03-01T08:00 passed : battery reading=12.0@11.5.. ; ping samples=4@4 peak/32=240@190..310",
    "S2 A 03-01T09:00 passed : battery reading=12.5@11.5.. ; ping#1 samples=4@4 peak/32=999@200..300 ; "
    "ping#2 samples=4@4 peak/32=250@200..300",
    "S3 B 03-01T10:00 failed : battery reading=11.0@11.5.. ; ping samples=4@4 peak/32=260@200..300",
    "S3 B 03-01T11:00 aborted : battery reading=99@11.5.. ; ping samples=4@4 peak/32=999@200..300",
    "V1 V 03-01T11:30 passed virtual : battery reading=50@11.5.. ; ping samples=4@4 peak/32=299@200..300",
    "S3 A 03-01T12:00 passed : battery reading=12.5@11.5.. ; ping samples=4@4 peak/32=250@200..300 ; "
    "hydro level=3.5@1..5",
    "S4 B 03-01T13:00 passed : ping samples=4@4 peak/32=250@200..300",
};

bool Within(double value, const QString& expected)
{
    const int dots = expected.indexOf("..");
    bool lowOk = false;
    bool highOk = false;
    const double low = expected.left(dots < 0 ? -1 : dots).toDouble(&lowOk);
    const double high = expected.mid(dots < 0 ? 0 : dots + 2).toDouble(&highOk);
    return (!lowOk || value >= low) && (!highOk || value <= high);
}

// A step's expectations from "KEY[/FROM]=VALUE@EXPECTED" words.
StepResult_T Step(const QStringList& words, int& tryNumber)
{
    StepResult_T step;
    QString head = words.value(0);
    const int bang = head.indexOf('!');
    const QString verdict = bang < 0 ? QString() : head.mid(bang + 1);
    head = head.left(bang);
    const int hash = head.indexOf('#');
    tryNumber = hash < 0 ? 1 : head.mid(hash + 1).toInt();
    step.name = head.left(hash);
    step.met = true;
    for (const QString& word : words.mid(1))
    {
        ExpectationResult_T expectation;
        const QString key = word.section('=', 0, 0);
        const QString value = word.section('=', 1).section('@', 0, 0);
        expectation.key = key.section('/', 0, 0);
        expectation.from = key.section('/', 1).toInt();
        expectation.expected = word.section('@', 1);
        bool number = false;
        const double measured = value.toDouble(&number);
        expectation.measured = number ? QVariant(measured) : QVariant(value);
        expectation.met = number ? Within(measured, expectation.expected) : value == expectation.expected;
        step.met = step.met && expectation.met;
        step.expectations.push_back(expectation);
    }
    step.verdict = !verdict.isEmpty() ? verdict : step.met ? "passed" : "failed";
    step.exitStatus = 0;
    return step;
}
}

class Analytics : public CEngineTest
{
protected:
    // Stores the runs as the station does, each in a session of its station; run ids r01, r02, ...
    // in the lines' order, on from the runs stored before. Runs end in the order of ARRIVAL (line indexes), by default the lines'.
    template <size_t N>
    void Store(const char* const (&lines)[N], const std::vector<size_t>& arrival = {})
    {
        std::vector<QString> runs;
        for (const char* line : lines)
            runs.push_back(line);
        Store(runs, arrival);
    }

    void Store(const std::vector<QString>& lines, std::vector<size_t> arrival = {})
    {
        CResultsDb db;
        QString error;
        ASSERT_TRUE(db.Open(m_Target, error)) << error.toStdString();
        for (size_t i = arrival.size(); i < lines.size(); ++i)
            arrival.push_back(i);
        for (const size_t index : arrival)
        {
            const QString& line = lines[index];
            const QStringList head = line.section(" : ", 0, 0).split(' ');
            SessionRecord_T session;
            session.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
            session.host = head[1];
            session.stationVersion = "0.1";
            session.plan = "cor.plan";
            session.planSha256 = QString(64, 'a');
            session.started = QDateTime::fromString("2026-" + head[2] + ":00Z", Qt::ISODate);
            ASSERT_TRUE(CRunRows::InsertSession(db, session, error)) << error.toStdString();
            RunRecord_T run;
            run.id = QString("r%1").arg(m_Stored + index + 1, 2, 10, QChar('0'));
            run.sessionId = session.id;
            run.unit = head.contains("virtual") ? "ql4k" : "ssh:unit";
            run.isVirtual = head.contains("virtual");
            run.serial = head[0].toUtf8();
            run.serialSource = "unit";
            run.product = "QL4K";
            for (const QString& word : head)
                if (word.startsWith("product="))
                    run.product = word.mid(8);
            run.planName = "cor.plan";
            for (const QString& word : head)
                if (word.startsWith("plan="))
                    run.planName = word.mid(5);
            run.planSha256 = session.planSha256;
            run.started = session.started;
            ASSERT_TRUE(CRunRows::InsertRun(db, run, error)) << error.toStdString();
            QStringList names;
            for (const QString& text : line.section(" : ", 1).split(" ; "))
            {
                int tryNumber = 1;
                const StepResult_T step = Step(text.simplified().split(' '), tryNumber);
                if (!names.contains(step.name))
                    names << step.name;
                ASSERT_TRUE(CStepRows::Insert(db, run.id, names.indexOf(step.name), tryNumber, step, error))
                    << error.toStdString();
            }
            run.ended = session.started.addSecs(60);
            run.result = head[3];
            run.met = run.result == "passed";
            if (run.result != "aborted")
            {
                ASSERT_TRUE(CRunRows::FinishRun(db, run, error)) << error.toStdString();
            }
        }
        m_Stored += lines.size();
    }

    // A view's rows, a line each, its values '|' apart; numbers to ten digits.
    std::string Rows(const QString& sql)
    {
        CResultsDb db;
        QString error;
        EXPECT_TRUE(db.Open(m_Target, error)) << error.toStdString();
        QSqlQuery query(db.Connection());
        EXPECT_TRUE(db.Exec(query, sql, {}, error)) << error.toStdString();
        std::string rows;
        while (query.next())
        {
            QStringList values;
            for (int i = 0; i < query.record().count(); ++i)
            {
                const QVariant value = query.value(i);
                values << (value.isNull()                     ? QString("null")
                           : value.type() == QVariant::Double ? QString::number(value.toDouble(), 'g', 10)
                                                              : value.toString());
            }
            rows += values.join('|').toStdString() + "\n";
        }
        return rows;
    }

    size_t m_Stored = 0;

    // A command on the test's database; JSON comes back compact.
    Outcome_T Command(QStringList arguments)
    {
        const QString command = arguments.takeFirst();
        arguments = QStringList{"--db", m_Url} + arguments;
        Outcome_T outcome = Captured([&](FILE* out, FILE* err) {
            const CAnalyticsCommands commands(out, err);
            return command == "yield"        ? commands.Yield(arguments)
                   : command == "capability" ? commands.Capability(arguments)
                                             : commands.Control(arguments);
        });
        if (arguments.contains("--json"))
            outcome.out = QJsonDocument::fromJson(QByteArray::fromStdString(outcome.out))
                              .toJson(QJsonDocument::Compact)
                              .toStdString();
        return outcome;
    }
};

namespace
{
// A JSON object as the compact form writes it: keys in order, values as given.
std::string Object(const std::map<std::string, std::string>& fields)
{
    std::string object;
    for (const auto& field : fields)
        object += (object.empty() ? "{\"" : ",\"") + field.first + "\":" + field.second;
    return object + "}";
}

std::string Quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

// A yield row; GROUP is "by:value" or empty.
std::string Row(const std::string& group, int units, int runs, int passed, const char* fpy, const char* spy,
                const char* tpy, const char* lpy, const char* runYield)
{
    std::map<std::string, std::string> fields = {{"fpy", fpy},
                                                 {"lpy", lpy},
                                                 {"passed_runs", std::to_string(passed)},
                                                 {"run_yield", runYield},
                                                 {"runs", std::to_string(runs)},
                                                 {"spy", spy},
                                                 {"tpy", tpy},
                                                 {"units", std::to_string(units)}};
    if (!group.empty())
        fields[group.substr(0, group.find(':'))] = Quoted(group.substr(group.find(':') + 1));
    return Object(fields);
}

// A capability row: N, MEAN, S, SW, LSL, USL, CP, CPK, PP, PPK, FAILURES as the JSON writes them.
std::string Measurement(const char* step, const char* key, int from, const std::vector<std::string>& figures)
{
    const char* const names[] = {"n", "mean", "s", "sw", "lsl", "usl", "cp", "cpk", "pp", "ppk", "failures"};
    std::map<std::string, std::string> fields = {
        {"plan", Quoted("cor.plan")}, {"step", Quoted(step)}, {"key", Quoted(key)}, {"from", std::to_string(from)}};
    for (size_t i = 0; i < figures.size() && i < 11; ++i)
        fields[names[i]] = figures[i];
    return Object(fields);
}

std::string Pareto(int failures, const char* key, const char* step)
{
    return "{\"failures\":" + std::to_string(failures) + ",\"key\":\"" + key + "\",\"plan\":\"cor.plan\",\"step\":\"" +
           step + "\"}";
}
}

TEST_P(Analytics, YieldsCountUnitsByTheirFirstAttemptOverTheWholeHistory)
{
    // Newest first: each unit's attempts are counted again as earlier runs arrive.
    std::vector<size_t> newestFirst;
    for (size_t i = std::size(c_Yields); i > 0; --i)
        newestFirst.push_back(i - 1);
    Store(c_Yields, newestFirst);
    // Units U1..U5 start in March: U1 passes at 1 (a retried step), U2 at 2, U3 at 3 (an aborted run between),
    // U4 at 5, U5 never (a step timed out). U0 started in February and V1 is virtual.
    const std::string pareto = "\"pareto\":[" + Pareto(4, "peak from 32", "ping") + "," + Pareto(2, "verdict", "pin") +
                               "," + Pareto(1, "reading", "battery") + "," + Pareto(1, "samples", "ping") + "]";
    const QStringList march = {"--since", "2026-03-01", "--until", "2026-03-03T00:00:00Z", "--json"};
    const struct
    {
        QStringList arguments;
        std::string json;
    } cases[] = {
        {march, "{" + pareto + ",\"total\":" + Row("", 5, 13, 5, "0.2", "0.4", "0.6", "0.8", "0.3846153846") + "}"},
        {march + QStringList{"--by", "day"},
         "{\"by\":\"day\",\"groups\":[" + Row("day:2026-03-01", 4, 8, 3, "0.25", "0.5", "0.75", "1", "0.375") + "," +
             Row("day:2026-03-02", 1, 5, 2, "0", "0", "0", "0", "0.4") + "]," + pareto +
             ",\"total\":" + Row("", 5, 13, 5, "0.2", "0.4", "0.6", "0.8", "0.3846153846") + "}"},
        {march + QStringList{"--by", "station"},
         "{\"by\":\"station\",\"groups\":[" + Row("station:A", 2, 7, 4, "0.5", "1", "1", "1", "0.5714285714") + "," +
             Row("station:B", 3, 6, 1, "0", "0", "0.3333333333", "0.6666666667", "0.1666666667") + "]," + pareto +
             ",\"total\":" + Row("", 5, 13, 5, "0.2", "0.4", "0.6", "0.8", "0.3846153846") + "}"},
        {march + QStringList{"--by", "product"},
         "{\"by\":\"product\",\"groups\":[" + Row("product:QL2K", 1, 1, 0, "0", "0", "0", "0", "0") + "," +
             Row("product:QL4K", 4, 12, 5, "0.25", "0.5", "0.75", "1", "0.4166666667") + "]," + pareto +
             ",\"total\":" + Row("", 5, 13, 5, "0.2", "0.4", "0.6", "0.8", "0.3846153846") + "}"},
        {march + QStringList{"--virtual", "--plan", "cor.plan"},
         "{" + pareto + ",\"total\":" +
             Row("", 6, 14, 6, "0.3333333333", "0.5", "0.6666666667", "0.8333333333", "0.4285714286") + "}"},
        {{"--json"},
         "{\"pareto\":[" + Pareto(5, "peak from 32", "ping") + "," + Pareto(2, "verdict", "pin") + "," +
             Pareto(1, "reading", "battery") + "," + Pareto(1, "samples", "ping") + "],\"total\":" +
             Row("", 6, 14, 5, "0.1666666667", "0.5", "0.6666666667", "0.8333333333", "0.3571428571") + "}"},
        {{"--plan", "other.plan", "--json"},
         "{\"pareto\":[],\"total\":" + Row("", 0, 0, 0, "null", "null", "null", "null", "null") + "}"},
    };
    for (const auto& c : cases)
    {
        const Outcome_T outcome = Command(QStringList{"yield"} + c.arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, c.json) << c.arguments.join(' ').toStdString();
    }

    // The views a factory reads say the same over the whole history.
    EXPECT_EQ(Rows("SELECT * FROM yield_by_day ORDER BY day"), "2026-02-28|cor.plan|1|1|0|0|1|1|1|0\n"
                                                               "2026-03-01|cor.plan|4|8|3|0.25|0.5|0.75|1|0.375\n"
                                                               "2026-03-02|cor.plan|1|5|2|0|0|0|0|0.4\n");
    EXPECT_EQ(Rows("SELECT * FROM failure_pareto ORDER BY failures DESC, step, key"),
              "cor.plan|ping|peak from 32|5\ncor.plan|pin|verdict|2\ncor.plan|battery|reading|1\n"
              "cor.plan|ping|samples|1\n");

    const Outcome_T table = Command({"yield", "--since", "2026-03-01", "--by", "station"});
    EXPECT_EQ(table.out, "station  units  runs  FPY    SPY     TPY     LPY     run yield\n"
                         "all      5      13    20.0%  40.0%   60.0%   80.0%   38.5%\n"
                         "A        2      7     50.0%  100.0%  100.0%  100.0%  57.1%\n"
                         "B        3      6     0.0%   0.0%    33.3%   66.7%   16.7%\n"
                         "\n"
                         "Failures by first failing step:\n"
                         "failures  plan      step     first unmet\n"
                         "4         cor.plan  ping     peak from 32\n"
                         "2         cor.plan  pin      verdict\n"
                         "1         cor.plan  battery  reading\n"
                         "1         cor.plan  ping     samples\n");
}

TEST_P(Analytics, CapabilityOfTheLastTriesOfRunsInTimeOrder)
{
    // Runs end in another order than they started, as on a station testing several units at once.
    Store(c_Capability, {2, 0, 6, 3, 1, 5, 4});
    // Left out: an aborted run, a virtual unit and a step's first try (999s). The peak's limits changed:
    // the latest run's count. reading has no upper limit, samples never varies, level was measured once.
    const std::string hydro =
        Measurement("hydro", "level", 0, {"1", "3.5", "null", "null", "1", "5", "null", "null", "null", "null", "0"});
    const struct
    {
        QStringList arguments;
        std::string json;
    } cases[] = {
        {{"--json"},
         "{\"measurements\":[" +
             Measurement("battery", "reading", 0,
                         {"4", "12", "0.7071067812", "1.03427896", "11.5", "null", "null", "0.1611428571", "null",
                          "0.2357022604", "1"}) +
             "," +
             Measurement("ping", "peak", 32,
                         {"5", "250", "7.071067812", "6.64893617", "200", "300", "2.506666667", "2.506666667",
                          "2.357022604", "2.357022604", "0"}) +
             "," + hydro + "," +
             Measurement("ping", "samples", 0, {"5", "4", "0", "0", "4", "4", "null", "null", "null", "null", "0"}) +
             "]}"},
        {{"--json", "--passed-only", "--until", "2026-03-02"},
         "{\"measurements\":[" +
             Measurement("battery", "reading", 0,
                         {"3", "12.33333333", "0.2886751346", "0.2216312057", "11.5", "null", "null", "1.253333333",
                          "null", "0.9622504486", "0"}) +
             "," +
             Measurement(
                 "ping", "peak", 32,
                 {"4", "247.5", "5", "2.955082742", "200", "300", "5.64", "5.358", "3.333333333", "3.166666667", "0"}) +
             "," + hydro + "," +
             Measurement("ping", "samples", 0, {"4", "4", "0", "0", "4", "4", "null", "null", "null", "null", "0"}) +
             "]}"},
        // A single run: nothing has a sigma.
        {{"--json", "--since", "2026-03-01T12:30:00+01:00", "--until", "2026-03-01T12:00:01Z"},
         "{\"measurements\":[" +
             Measurement("battery", "reading", 0,
                         {"1", "12.5", "null", "null", "11.5", "null", "null", "null", "null", "null", "0"}) +
             "," + hydro + "," +
             Measurement("ping", "peak", 32,
                         {"1", "250", "null", "null", "200", "300", "null", "null", "null", "null", "0"}) +
             "," +
             Measurement("ping", "samples", 0,
                         {"1", "4", "null", "null", "4", "4", "null", "null", "null", "null", "0"}) +
             "]}"},
        {{"--json", "--plan", "other.plan"}, "{\"measurements\":[]}"},
    };
    for (const auto& c : cases)
    {
        const Outcome_T outcome = Command(QStringList{"capability"} + c.arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, c.json) << c.arguments.join(' ').toStdString();
    }
    EXPECT_EQ(Rows("SELECT * FROM measurement_capability ORDER BY step, expectation"),
              "cor.plan|battery|reading|0|4|12|0.7071067812|1.03427896|11.5|null|null|0.1611428571|null|"
              "0.2357022604|1\n"
              "cor.plan|hydro|level|0|1|3.5|null|null|1|5|null|null|null|null|0\n"
              "cor.plan|ping|peak|32|5|250|7.071067812|6.64893617|200|300|2.506666667|2.506666667|2.357022604|"
              "2.357022604|0\n"
              "cor.plan|ping|samples|0|5|4|0|0|4|4|null|null|null|null|0\n");
    // The first two runs, as a table.
    EXPECT_EQ(Command({"capability", "--until", "2026-03-01T09:30"}).out,
              "plan      step     key           n  mean   s         sw        LSL   USL  Cp    Cpk    Pp       Ppk"
              "       failures\n"
              "cor.plan  battery  reading       2  12.25  0.353553  0.443262  11.5  -    -     0.564  -        "
              "0.707107  0\n"
              "cor.plan  ping     peak from 32  2  245    7.07107   8.86525   200   300  1.88  1.692  2.35702  "
              "2.12132   0\n"
              "cor.plan  ping     samples       2  4      0         0         4     4    -     -      -        -"
              "         0\n");
}

TEST_P(Analytics, ControlChartOfThePublishedIndividualsExample)
{
    // NIST/SEMATECH e-Handbook of Statistical Methods, section 6.3.2.2 (Individuals Control Charts):
    // ten batches, published centre 50.81, moving range 1.8778, UCL 55.80, LCL 45.82, MR UCL 6.13.
    const double batches[] = {49.6, 47.6, 49.9, 51.3, 47.8, 51.2, 52.6, 52.4, 53.6, 52.1};
    std::vector<QString> lines;
    for (int i = 0; i < 10; ++i)
        lines.push_back(
            QString("B%1 A 03-01T08:%2 passed : tank level=%3@40..60").arg(i + 1).arg(10 + i).arg(batches[i]));
    lines.push_back("B11 V 03-01T09:00 passed virtual : tank level=90@40..60");
    Store(lines, {9, 3, 10, 0, 8, 1, 7, 2, 6, 4, 5});

    CResultsDb db;
    QString error;
    ASSERT_TRUE(db.Open(m_Target, error)) << error.toStdString();
    ControlChart_T chart;
    ASSERT_TRUE(CAnalytics(db).Control(AnalyticsFilter_T(), {"", "tank", "level", 0}, 1, 20, chart, error))
        << error.toStdString();
    ASSERT_TRUE(chart.centre && chart.mrCentre);
    EXPECT_EQ(QString::asprintf("%.2f %.4f %.2f %.2f %.2f", *chart.centre, *chart.mrCentre, *chart.ucl, *chart.lcl,
                                *chart.mrUcl)
                  .toStdString(),
              "50.81 1.8778 55.80 45.82 6.13");

    std::string points;
    const char* const ranges[] = {"null", "2", "2.3", "1.4", "3.5", "3.4", "1.4", "0.2", "1.2", "1.5"};
    for (int i = 0; i < 10; ++i)
        points +=
            (i ? "," : "") + Object({{"moving_range", ranges[i]},
                                     {"point", std::to_string(i + 1)},
                                     {"run_id", Quoted(QString("r%1").arg(i + 1, 2, 10, QChar('0')).toStdString())},
                                     {"serial", Quoted("B" + std::to_string(i + 1))},
                                     {"time", Quoted("2026-03-01T08:" + std::to_string(10 + i) + ":00.000Z")},
                                     {"value", QString::number(batches[i]).toStdString()}});
    const Outcome_T all = Command({"control", "tank", "level", "--json"});
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(all.out,
              "{\"baseline\":20,\"flagged\":[],\"from\":0,\"individuals\":{\"centre\":50.81,\"lcl\":45.81511111,"
              "\"ucl\":55.80488889},\"key\":\"level\",\"moving_range\":{\"centre\":1.877777778,\"ucl\":6.1347},"
              "\"plan\":\"cor.plan\",\"points\":[" +
                  points + "],\"step\":\"tank\"}");

    // From point 3, limits of five points: 49.9 51.3 47.8 51.2 52.6 and their moving ranges 1.4 3.5 3.4 1.4.
    const Outcome_T later = Command({"control", "tank", "level", "--first-point", "3", "--baseline", "5"});
    EXPECT_EQ(later.status, 0) << later.err;
    EXPECT_EQ(later.out,
              "tank / level: 8 point(s)\n"
              "Individuals: centre 50.56, UCL 57.0105, LCL 44.1095; moving range: centre 2.425, UCL 7.92248 (baseline "
              "of 5)\n\n"
              "point  serial  run  time                      value  MR   rules\n"
              "3      B3      r03  2026-03-01T08:12:00.000Z  49.9   -    \n"
              "4      B4      r04  2026-03-01T08:13:00.000Z  51.3   1.4  \n"
              "5      B5      r05  2026-03-01T08:14:00.000Z  47.8   3.5  \n"
              "6      B6      r06  2026-03-01T08:15:00.000Z  51.2   3.4  \n"
              "7      B7      r07  2026-03-01T08:16:00.000Z  52.6   1.4  \n"
              "8      B8      r08  2026-03-01T08:17:00.000Z  52.4   0.2  \n"
              "9      B9      r09  2026-03-01T08:18:00.000Z  53.6   1.2  \n"
              "10     B10     r10  2026-03-01T08:19:00.000Z  52.1   1.5  \n");

    // The virtual unit far beyond the limits of the batches, when asked for.
    const Outcome_T withVirtual = Command({"control", "tank", "level", "--virtual", "--baseline", "10", "--json"});
    EXPECT_NE(withVirtual.out.find("\"flagged\":[{\"point\":11,\"rules\":[\"beyond-3-sigma\"],\"run_id\":\"r11\"}]"),
              std::string::npos)
        << withVirtual.out;
}

TEST_P(Analytics, MistakesGiveOneLine)
{
    Store(c_Capability);
    Store(std::vector<QString>{"S9 A 03-02T08:00 passed plan=other.plan : ping peak/32=250@200..300"});
    const struct
    {
        QStringList arguments;
        int status;
        std::string message;
    } cases[] = {
        {{"yield", "--by", "week"}, 2, "--by 'week' is not day, station or product"},
        {{"yield", "--since", "yesterday"}, 2, "--since 'yesterday' is not an ISO 8601 date or time"},
        {{"yield", "--until", "2026-02-30"}, 2, "--until '2026-02-30' is not an ISO 8601 date or time"},
        {{"yield", "--passed-only"}, 2, "unexpected '--passed-only'"},
        {{"capability", "--plan"}, 2, "--plan needs a value"},
        {{"control", "ping"}, 2, "control needs a STEP and a KEY"},
        {{"control", "ping", "peak", "extra"}, 2, "unexpected 'extra'"},
        {{"control", "ping", "peak", "--baseline", "1"}, 2, "--baseline '1' is not a count of 2 or more"},
        {{"control", "ping", "peak", "--first-point", "0"}, 2, "--first-point '0' is not a point number from 1"},
        {{"control", "ping", "peak", "--from", "-1"}, 2, "--from '-1' is not a sample index from 0"},
        {{"control", "ping", "peak"}, 1, "no stored value of peak in step ping"},
        // Two plans' values in one series would hide each other's drift.
        {{"control", "ping", "peak", "--from", "32"},
         1,
         "ping peak is measured by 2 plans (cor.plan, other.plan): name one with --plan"},
        {{"control", "ping", "peak\nfrom", "--from", "32"}, 1, "no stored value of peak\\x0afrom from 32 in step ping"},
    };
    for (const auto& c : cases)
    {
        const Outcome_T outcome = Command(c.arguments);
        EXPECT_EQ(outcome.status, c.status) << c.arguments.join(' ').toStdString();
        const std::string usage = c.status == 2 ? " (sonarstation help prints the usage)" : "";
        EXPECT_EQ(outcome.err, "sonarstation: " + c.message + usage + "\n");
    }
}

TEST_P(Analytics, AllChartsInOnePassAreTheChartsOneByOne)
{
    Store(c_Capability);
    CResultsDb db;
    QString error;
    ASSERT_TRUE(db.Open(m_Target, error)) << error.toStdString();
    const CAnalytics analytics(db);
    for (const AnalyticsFilter_T& filter : {AnalyticsFilter_T(), [] {
                                                AnalyticsFilter_T until;
                                                until.until = QDateTime(QDate(2026, 3, 2), QTime(0, 0), Qt::UTC);
                                                until.withVirtual = true;
                                                return until;
                                            }()})
    {
        std::vector<CapabilityRow_T> rows;
        ASSERT_TRUE(analytics.Capability(filter, false, rows, error)) << error.toStdString();
        std::vector<std::string> oneByOne;
        for (const CapabilityRow_T& row : rows)
        {
            ControlChart_T chart;
            ASSERT_TRUE(analytics.Control(filter, row.id, 1, 3, chart, error)) << error.toStdString();
            oneByOne.push_back(CAnalyticsFormat::ControlJson(chart).toStdString());
        }
        std::sort(oneByOne.begin(), oneByOne.end());
        std::vector<std::string> onePass;
        ASSERT_TRUE(analytics.Controls(
            filter, 3,
            [&](const ControlChart_T& chart, QString&) {
                onePass.push_back(CAnalyticsFormat::ControlJson(chart).toStdString());
                return true;
            },
            error))
            << error.toStdString();
        std::sort(onePass.begin(), onePass.end());
        EXPECT_EQ(onePass, oneByOne);
        EXPECT_EQ(onePass.size(), 4u);
    }
}

ENGINE_TEST_SUITE(Analytics);

// Each series on a chart of centre 0 and sigma 1: the points that complete a rule's pattern.
TEST(ControlRules, FlagThePointThatCompletesEachPattern)
{
    const struct
    {
        std::vector<double> values;
        const char* flagged;
    } cases[] = {
        {{0, 3.2, 0, -3.2, 3}, "2 beyond-3-sigma; 4 beyond-3-sigma; "},
        {{2.5, 0, 2.5, -2.5, 0}, "3 2-of-3-beyond-2-sigma; "},
        {{2.5, 0, -2.5, 0}, ""},
        {{1.5, 1.5, 0, 1.5, 1.5, -1.5}, "5 4-of-5-beyond-1-sigma; "},
        {{1.5, 1.5, 0, -1.5, 1.5, 1.5}, ""},
        {{0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.4, 0.3, -0.1}, "8 8-on-one-side; 9 8-on-one-side; "},
        {{0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0, 0.5, 0.5}, ""},
        {{-0.4, -0.3, -0.2, -0.1, 0.1, 0.2, 0.1}, "6 6-trending; "},
        {{0.9, 0.8, 0.7, 0.6, 0.5, 0.4, 0.3, 0.2}, "6 6-trending; 7 6-trending; 8 8-on-one-side, 6-trending; "},
        {{3.5, 2.5, 1.5, 1.2}, "1 beyond-3-sigma; 2 2-of-3-beyond-2-sigma; 4 4-of-5-beyond-1-sigma; "},
    };
    for (const auto& c : cases)
    {
        ControlChart_T chart;
        chart.centre = 0;
        chart.mrCentre = 3 / 2.66;
        chart.ucl = 3;
        chart.lcl = -3;
        for (const double value : c.values)
        {
            ControlPoint_T point;
            point.value = value;
            chart.points.push_back(point);
        }
        CAnalytics::ApplyRules(chart);
        std::string flagged;
        for (size_t i = 0; i < chart.points.size(); ++i)
            if (!chart.points[i].rules.isEmpty())
                flagged += std::to_string(i + 1) + " " + chart.points[i].rules.join(", ").toStdString() + "; ";
        EXPECT_EQ(flagged, c.flagged) << testing::PrintToString(c.values);
    }
}
