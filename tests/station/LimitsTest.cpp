// Limits learned from good units: the median and MAD worked out by hand, the
// plan rewritten byte for byte, and the command on a hand-made history, the
// same on SQLite and on PostgreSQL.
#include "EngineTest.h"

#include "LimitsCommand.h"
#include "PlanText.h"
#include "ResultsDb.h"
#include "RunRows.h"
#include "StepRows.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace
{
std::string Text(const std::optional<double>& value)
{
    return value ? QString::number(*value).toStdString() : "-";
}

// As the commands write a share: ten significant digits.
double Share(int part, int whole)
{
    return QString::number(static_cast<double>(part) / whole, 'g', 10).toDouble();
}

// One measurement of limits --json; a null limit or figure is left undefined.
QJsonObject Measurement(const char* step, const char* key, int from, QJsonValue oldLsl, QJsonValue oldUsl,
                        QJsonValue newLsl, QJsonValue newUsl, int n, QJsonValue median, QJsonValue mad,
                        QJsonValue newFpy)
{
    return QJsonObject{{"step", step},
                       {"key", key},
                       {"from", from},
                       {"old_lsl", oldLsl},
                       {"old_usl", oldUsl},
                       {"new_lsl", newLsl},
                       {"new_usl", newUsl},
                       {"golden_outside", false},
                       {"n", n},
                       {"median", median},
                       {"mad", mad},
                       {"new_fpy", newFpy}};
}

std::string Pretty(const QJsonObject& object)
{
    return QJsonDocument(object).toJson().toStdString();
}

// "median mad limits", worked out by hand.
TEST(Limits, ProposalsRoundOutwardAndStayWithinThePlansLimits)
{
    const std::optional<double> open;
    const struct
    {
        std::vector<double> values;
        double k;
        bool decimal;
        std::optional<double> oldMin;
        std::optional<double> oldMax;
        const char* expected;
    } cases[] = {
        // deviations 7 2 0 2 7; 207 +- 1 x 1.4826 x 2 = 204.03..209.97
        {{200, 205, 207, 209, 214}, 1, false, 200, 215, "207 2 204..210"},
        {{214, 200, 207, 205, 209}, 6, false, 200, 215, "207 2 200..215"},
        // an even count: the mean of the middle two; an open side closes where the values say
        {{4, 1, 3, 2}, 2, true, open, 12, "2.5 1 -0.466..5.466"},
        {{4, 5, 6}, 2, true, 3, open, "5 1 3..7.966"},
        {{1, 2, 3, 4, 100}, 1, false, open, open, "3 1 1..5"},
        // a MAD of 0 counts as one step: 122 +- 8.8956, 500 +- 0.0088956
        {{122, 122, 122, 121, 123}, 6, false, open, 125, "122 0 113..125"},
        {{500, 500}, 6, true, 362, 617, "500 0 499.991..500.009"},
        {{-1.5, -0.5, -1}, 1, true, -2, open, "-1 0.5 -1.742..-0.258"},
        // golden values all beyond the plan's limits, or none: the plan's stay
        {{300, 301, 302}, 1, false, 200, 215, "301 1 200..215 outside"},
        {{}, 6, false, open, 20, "- - ..20"},
    };
    for (const auto& c : cases)
    {
        std::vector<double> values = c.values;
        LimitProposal_T p;
        p.oldMin = c.oldMin;
        p.oldMax = c.oldMax;
        CLimitsCommand::Propose(values, c.k, c.decimal, p);
        EXPECT_EQ(
            Text(p.median) + " " + Text(p.mad) + " " +
                (CLimitsCommand::Range(p.newMin, p.newMax, c.decimal) + (p.outside ? " outside" : "")).toStdString(),
            c.expected);
        EXPECT_EQ(p.n, static_cast<long long>(c.values.size()));
    }
}

TEST(Limits, OnlyTheRangeWordOfTheRightLineChanges)
{
    const QByteArray plan = "# expect peak 1..2 in a comment stays\r\n"
                            "step a xkping t.txt 0 1\r\n"
                            "\texpect  peak\t200..215   from 32\r\n"
                            "expect peak 240..255\r\n"
                            "expect noise ..12 from 32 to 112\r\n"
                            "\n"
                            "step b xkping t.txt 0 1\n"
                            "expect peak 200..215 from 32\n"
                            "expect ringdown ..20 below 50\n"
                            "expect reading 362..617";
    CPlanText text(plan);
    EXPECT_TRUE(text.SetRange("a", "peak", 32, "204..210"));
    EXPECT_TRUE(text.SetRange("a", "noise", 32, "3.517..6.483"));
    EXPECT_TRUE(text.SetRange("b", "ringdown", 0, "12.."));
    EXPECT_TRUE(text.SetRange("b", "reading", 0, "500"));
    EXPECT_FALSE(text.SetRange("b", "peak", 0, "1"));
    EXPECT_FALSE(text.SetRange("c", "peak", 32, "1"));
    EXPECT_EQ(text.Text().toStdString(), "# expect peak 1..2 in a comment stays\r\n"
                                         "step a xkping t.txt 0 1\r\n"
                                         "\texpect  peak\t204..210   from 32\r\n"
                                         "expect peak 240..255\r\n"
                                         "expect noise 3.517..6.483 from 32 to 112\r\n"
                                         "\n"
                                         "step b xkping t.txt 0 1\n"
                                         "expect peak 200..215 from 32\n"
                                         "expect ringdown 12.. below 50\n"
                                         "expect reading 500");
}

const char* const c_Plan = "# Echo and board of a hand-made lot.\n"
                           "step ping xkping t.txt 0 1\n"
                           "expect peak 200..215 from 32\n"
                           "expect noise ..12 from 32 to 112\n"
                           "\n"
                           "# The bang rings down fast.\n"
                           "expect ringdown ..20 below 50\n"
                           "step temp lcdtemperature\n"
                           "expect reading 362..617\n";

// SERIAL HOUR RESULT [virtual] PEAK NOISE RINGDOWN READING, on 2026-03-01.
const char* const c_Lot[] = {
    "U1 08 passed 204 4.0 14 500", "U2 09 passed 206 4.5 15 500", "U3 10 passed 207 5.0 15 500",
    "U4 11 passed 208 5.5 15 500", "U5 12 passed 213 9.0 16 500", "U6 13 failed 190 5.0 15 500",
    "U6 14 passed 212 5.0 15 500", "U7 15 aborted 100 1 1 1",     "V1 16 passed virtual 200 11 3 600",
};

}

class LimitsDb : public CEngineTest
{
protected:
    void SetUp() override
    {
        CEngineTest::SetUp();
        if (Stopped())
            return;
        QFile plan(m_Home.filePath("p.txt"));
        ASSERT_TRUE(plan.open(QIODevice::WriteOnly) && plan.write(c_Plan) > 0);
    }

    void Store()
    {
        CResultsDb db;
        QString error;
        ASSERT_TRUE(db.Open(m_Target, error)) << error.toStdString();
        int number = 0;
        for (const char* line : c_Lot)
        {
            QStringList words = QString(line).split(' ');
            const bool isVirtual = words.removeAll("virtual") > 0;
            SessionRecord_T session;
            session.id = QString("s%1").arg(++number);
            session.host = "A";
            session.stationVersion = "0.1";
            session.plan = "p.txt";
            session.planSha256 = QString(64, 'a');
            session.started = QDateTime::fromString("2026-03-01T" + words[1] + ":00:00Z", Qt::ISODate);
            ASSERT_TRUE(CRunRows::InsertSession(db, session, error)) << error.toStdString();
            RunRecord_T run;
            run.id = QString("r%1").arg(number);
            run.sessionId = session.id;
            run.unit = isVirtual ? "ql4k" : "ssh:unit";
            run.isVirtual = isVirtual;
            run.serial = words[0].toUtf8();
            run.serialSource = "unit";
            run.product = "QL4K";
            run.planName = "p.txt";
            run.planSha256 = session.planSha256;
            run.started = session.started;
            ASSERT_TRUE(CRunRows::InsertRun(db, run, error)) << error.toStdString();
            const auto measured = [&](const char* key, int from, const char* expected, const QString& value) {
                ExpectationResult_T e;
                e.key = key;
                e.from = from;
                e.expected = expected;
                e.measured = value.toDouble();
                e.met = words[2] == "passed";
                return e;
            };
            StepResult_T ping;
            ping.name = "ping";
            ping.verdict = "passed";
            ping.met = words[2] == "passed";
            ping.expectations = {measured("peak", 32, "200..215", words[3]), measured("noise", 32, "..12", words[4]),
                                 measured("ringdown", 0, "..20", words[5])};
            StepResult_T temp = ping;
            temp.name = "temp";
            temp.expectations = {measured("reading", 0, "362..617", words[6])};
            ASSERT_TRUE(CStepRows::Insert(db, run.id, 0, 1, ping, error)) << error.toStdString();
            ASSERT_TRUE(CStepRows::Insert(db, run.id, 1, 1, temp, error)) << error.toStdString();
            run.ended = session.started.addSecs(60);
            run.result = words[2];
            run.met = run.result == "passed";
            if (run.result != "aborted")
            {
                ASSERT_TRUE(CRunRows::FinishRun(db, run, error)) << error.toStdString();
            }
        }
    }

    // limits on the test's plan and database: exit status, output, messages and the new plan.
    std::string Limits(const QStringList& arguments)
    {
        const QString written = m_Home.filePath("new.txt");
        QFile::remove(written);
        const Outcome_T outcome = Captured([&](FILE* out, FILE* err) {
            return CLimitsCommand(out, err).Run(QStringList{m_Home.filePath("p.txt"), "--db", m_Url, "--out", written} +
                                                arguments);
        });
        QString result = QString("%1\n").arg(outcome.status) + QString::fromStdString(outcome.out) +
                         QString::fromStdString(outcome.err);
        QFile file(written);
        if (file.open(QIODevice::ReadOnly))
            result += "--\n" + QString::fromUtf8(file.readAll());
        return result.replace(m_Home.path(), "DIR").toStdString();
    }

    // limits --json: the object it printed, the exit status and new plan as Limits gives them after it.
    QJsonObject Json(const QStringList& arguments, std::string& rest)
    {
        const std::string all = Limits(arguments + QStringList{"--json"});
        const size_t status = all.find('\n') + 1;
        size_t plan = all.find("}\n--\n");
        plan = plan == std::string::npos ? all.size() : plan + 2;
        rest = all.substr(0, status) + all.substr(plan);
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray::fromStdString(all.substr(status, plan - status)), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << all;
        return document.object();
    }
};

TEST_P(LimitsDb, ProposesFromFirstPassesAndTellsTheYieldTheyWouldHaveGiven)
{
    Store();
    // An open side is stored as NULL.
    {
        CResultsDb db;
        QString error;
        ASSERT_TRUE(db.Open(m_Target, error)) << error.toStdString();
        QSqlQuery query(db.Connection());
        ASSERT_TRUE(db.Exec(query,
                            "SELECT expectation, expected, low, high FROM measurements WHERE run_id = 'r1' "
                            "ORDER BY step_index, position",
                            {}, error))
            << error.toStdString();
        std::string rows;
        while (query.next())
            for (int c = 0; c < 4; ++c)
                rows +=
                    (query.value(c).isNull() ? "NULL" : query.value(c).toString().toStdString()) + (c < 3 ? "|" : "\n");
        EXPECT_EQ(rows, "peak|200..215|200|215\nnoise|..12|NULL|12\nringdown|..20|NULL|20\nreading|362..617|362|617\n");
    }
    // U1 to U5 passed first: 5 of the 6 units (U7's run was aborted, V1 is virtual).
    // peak 207 +- 2 x 1.4826 x 1 leaves U5's 213 out; noise 5 +- 2 x 1.4826 x 0.5
    // its 9.0; ringdown 15 and reading 500 have a MAD of 0, taken as one step.
    const std::string table = Limits({"--k", "2"});
    EXPECT_EQ(table, "0\n"
                     "step  key            old       new               n  median  mad  fpy old  fpy new\n"
                     "ping  peak from 32   200..215  204..210          5  207     1    83.3%    66.7%\n"
                     "ping  noise from 32  ..12      3.517..6.483      5  5       0.5  83.3%    66.7%\n"
                     "ping  ringdown       ..20      12..18            5  15      0    83.3%    83.3%\n"
                     "temp  reading        362..617  499.997..500.003  5  500     0    83.3%    83.3%\n"
                     "6 unit(s) of plan p.txt on a first attempt: FPY 83.3%, with all the new limits "
                     "66.7%\n"
                     "new plan written to DIR/new.txt\n"
                     "--\n"
                     "# Echo and board of a hand-made lot.\n"
                     "step ping xkping t.txt 0 1\n"
                     "expect peak 204..210 from 32\n"
                     "expect noise 3.517..6.483 from 32 to 112\n"
                     "\n"
                     "# The bang rings down fast.\n"
                     "expect ringdown 12..18 below 50\n"
                     "step temp lcdtemperature\n"
                     "expect reading 499.997..500.003\n");
    // The same as JSON: shares as fractions, an open side null, the same plan written.
    std::string rest;
    const QJsonObject json = Json({"--k", "2"}, rest);
    EXPECT_EQ(
        Pretty(json),
        Pretty(QJsonObject{
            {"plan", "p.txt"},
            {"new_plan", "DIR/new.txt"},
            {"k", 2},
            {"units", 6},
            {"first_attempt_passes", 5},
            {"fpy", Share(5, 6)},
            {"new_fpy", Share(4, 6)},
            {"measurements",
             QJsonArray{Measurement("ping", "peak", 32, 200, 215, 204, 210, 5, 207, 1, Share(4, 6)),
                        Measurement("ping", "noise", 32, QJsonValue(), 12, 3.517, 6.483, 5, 5, 0.5, Share(4, 6)),
                        Measurement("ping", "ringdown", 0, QJsonValue(), 20, 12, 18, 5, 15, 0, Share(5, 6)),
                        Measurement("temp", "reading", 0, 362, 617, 499.997, 500.003, 5, 500, 0, Share(5, 6))}}}));
    EXPECT_EQ(rest, "0\n" + table.substr(table.find("--\n")));
}

TEST_P(LimitsDb, GoldenUnitsVirtualUnitsAndAnEmptyWindow)
{
    Store();
    // U6 brings both its attempts: peaks 190 204 206 212 (median 205, MAD 4),
    // noise 4.0 4.5 5.0 5.0 (4.75, 0.25), ringdown 14 15 15 15 (15, 0).
    const std::string golden = Limits({"--golden", "U1", "U2", "U6", "--k", "1"});
    EXPECT_EQ(golden.substr(0, golden.find("6 unit(s)")),
              "0\n"
              "step  key            old       new               n  median  mad   fpy old  fpy new\n"
              "ping  peak from 32   200..215  200..211          4  205     4     83.3%    66.7%\n"
              "ping  noise from 32  ..12      4.379..5.121      4  4.75    0.25  83.3%    33.3%\n"
              "ping  ringdown       ..20      13..17            4  15      0     83.3%    83.3%\n"
              "temp  reading        362..617  499.998..500.002  4  500     0     83.3%    83.3%\n");
    // Nothing in the window: the plan is written as it was.
    EXPECT_EQ(Limits({"--since", "2026-03-02"}), std::string("0\n"
                                                             "step  key            old       new       n  median  mad  "
                                                             "fpy old  fpy new\n"
                                                             "ping  peak from 32   200..215  200..215  0  -       -    "
                                                             "-        -\n"
                                                             "ping  noise from 32  ..12      ..12      0  -       -    "
                                                             "-        -\n"
                                                             "ping  ringdown       ..20      ..20      0  -       -    "
                                                             "-        -\n"
                                                             "temp  reading        362..617  362..617  0  -       -    "
                                                             "-        -\n"
                                                             "0 unit(s) of plan p.txt on a first attempt: FPY -, with "
                                                             "all the new limits -\n"
                                                             "new plan written to DIR/new.txt\n--\n") +
                                                     c_Plan);
    std::string rest;
    const QJsonValue null;
    const QJsonObject empty = Json({"--since", "2026-03-02"}, rest);
    EXPECT_EQ(
        Pretty(empty),
        Pretty(QJsonObject{
            {"plan", "p.txt"},
            {"new_plan", "DIR/new.txt"},
            {"k", 6},
            {"units", 0},
            {"first_attempt_passes", 0},
            {"fpy", null},
            {"new_fpy", null},
            {"measurements", QJsonArray{Measurement("ping", "peak", 32, 200, 215, 200, 215, 0, null, null, null),
                                        Measurement("ping", "noise", 32, null, 12, null, 12, 0, null, null, null),
                                        Measurement("ping", "ringdown", 0, null, 20, null, 20, 0, null, null, null),
                                        Measurement("temp", "reading", 0, 362, 617, 362, 617, 0, null, null, null)}}}));
    EXPECT_EQ(rest, std::string("0\n--\n") + c_Plan);
}

// Refused before anything is read or written.
TEST_P(LimitsDb, RefusesMistakenOptions)
{
    const struct
    {
        QStringList arguments;
        const char* message;
    } cases[] = {
        {{"--k", "0"}, "--k '0' is not a number above 0"},
        {{"--k", "1e3"}, "--k '1e3' is not a number above 0"},
        {{"--since", "yesterday"}, "--since 'yesterday' is not an ISO 8601 date or time"},
        {{"--golden", "--k", "2"}, "--golden needs at least one serial number"},
        {{"--golden"}, "--golden needs at least one serial number"},
        {{"--out"}, "--out needs a value"},
        {{"--until", "2026-02-30"}, "--until '2026-02-30' is not an ISO 8601 date or time"},
        {{"--db"}, "--db needs a value"},
        {{"--by", "day"}, "unexpected '--by'"},
        {{"second.txt"}, "unexpected 'second.txt'"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Limits(c.arguments),
                  std::string("2\nsonarstation: ") + c.message + " (sonarstation help prints the usage)\n");
    const QString plan = m_Home.filePath("p.txt");
    const Outcome_T outcome = Captured([&](FILE* out, FILE* err) {
        EXPECT_EQ(CLimitsCommand(out, err).Run({plan, "--db", m_Url, "--out", m_Home.path() + "/./p.txt"}), 2);
        return CLimitsCommand(out, err).Run({plan, "--db", m_Url});
    });
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "sonarstation: --out would overwrite the plan it reads: name another file\n"
                           "sonarstation: no --out NEW_PLAN given (sonarstation help prints the usage)\n");
}

ENGINE_TEST_SUITE(LimitsDb);
