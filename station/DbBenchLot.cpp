#include "DbBenchLot.h"

#include "DbBench.h"
#include "Plan.h"
#include "ReportParser.h"
#include "ResultsDb.h"
#include "RunFacts.h"
#include "RunRows.h"
#include "StepRows.h"

#include <QCryptographicHash>
#include <QSqlQuery>
#include <QUuid>

#include <cmath>
#include <malloc.h>
#include <map>

namespace
{
const int c_Samples = 64;
const int c_Stations = 3;
// One numeric expectation a step, each read from its own block.
const char* const c_Plan = "step transmit ping 1\nexpect peak 400..600\n"
                           "step echo ping 2\nexpect peak 200..420 from 32\n"
                           "step level ping 3\nexpect mean 80..160\n"
                           "step floor ping 4\nexpect noise ..45 from 54 to 64\n"
                           "step ringdown ping 5\nexpect ringdown 8..22 below 100\n";
// How often each step is the one a faulty attempt fails, out of 11.
const int c_FaultWeights[] = {1, 4, 2, 3, 1};

// Reproducible from run to run, so that two databases hold the same history.
class CRandom
{
public:
    double Uniform()
    {
        m_State ^= m_State << 13;
        m_State ^= m_State >> 7;
        m_State ^= m_State << 17;
        return static_cast<double>(m_State >> 11) / 9007199254740992.0;
    }
    // Near enough to a standard normal, and bounded at 6.
    double Normal()
    {
        double sum = -6;
        for (int i = 0; i < 12; ++i)
            sum += Uniform();
        return sum;
    }

private:
    quint64 m_State = 0x9E3779B97F4A7C15ull;
};

struct Shape_T
{
    double transmit = 500;
    double echo = 300;
    double offset = 0;
    double noise = 40;
    double tau = 8;
};

// Transmit ring-down, a bottom echo at sample 44 and uniform noise.
QByteArray Block(const Shape_T& shape, CRandom& random)
{
    QByteArray text = "Parameters:\nRange 10 m\n<SonarFPGAData>";
    for (int i = 0; i < c_Samples; ++i)
    {
        const double value = shape.transmit * std::exp(-i / shape.tau) +
                             shape.echo * std::exp(-std::pow((i - 44) / 4.0, 2)) + shape.offset +
                             shape.noise * random.Uniform();
        text += QByteArray::number(qBound(0, static_cast<int>(value), 999)).rightJustified(3, '0');
    }
    return text + "<EndSonarFPGAData>\nElement: 1\n";
}

// Pushes the one measurement of step STEP out of its limits.
Shape_T Faulty(Shape_T shape, int step)
{
    switch (step)
    {
    case 0:
        shape.transmit = 690;
        break;
    case 1:
        shape.echo = 140;
        break;
    case 2:
        shape.offset = 70;
        break;
    case 3:
        shape.noise = 100;
        break;
    default:
        shape.tau = 14;
        break;
    }
    return shape;
}

int FaultStep(CRandom& random)
{
    int pick = static_cast<int>(random.Uniform() * 11);
    int step = 0;
    while (step < 4 && pick >= c_FaultWeights[step])
        pick -= c_FaultWeights[step++];
    return step;
}

class CLotWriter
{
public:
    CLotWriter(CResultsDb& db, const LotCounts_T& counts) : m_Db(db), m_Counts(counts)
    {
        QString error;
        m_Plan.Parse(c_Plan, "lot.txt", error);
        m_Start = QDateTime(QDate(2026, 10, 1), QTime(6, 0), Qt::UTC);
        m_RunsPerPlan = 1.117;  // 9 % fail attempt 1, 30 % of those fail again
        m_Plans = qMax(1, qRound(counts.runs / (counts.serials * m_RunsPerPlan)));
    }

    bool Fill(LotSummary_T& summary, QString& error);

private:
    QString Session(int station, int plan);
    bool Run(int serial, int plan, int attempt, bool faulty, LotSummary_T& summary);
    // Writes what is pending in one transaction, which may be tried again whole.
    bool Flush(QString& error);

    CResultsDb& m_Db;
    const LotCounts_T& m_Counts;
    CPlan m_Plan;
    const CReportParser m_Parser{};
    CRandom m_Random;
    QDateTime m_Start;
    double m_RunsPerPlan;
    int m_Plans;
    std::map<std::pair<int, int>, QString> m_Sessions;  // by station and plan
    std::vector<SessionRecord_T> m_NewSessions;
    std::vector<std::pair<RunRecord_T, std::vector<StepResult_T>>> m_Pending;
};

QString CLotWriter::Session(int station, int plan)
{
    auto found = m_Sessions.find({station, plan});
    if (found != m_Sessions.end())
        return found->second;
    SessionRecord_T session;
    session.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    session.host = QString("station-%1").arg(station + 1);
    session.stationVersion = "bench";
    session.plan = QString("lot-%1.txt").arg(plan + 1);
    session.planSha256 = QCryptographicHash::hash(session.plan.toUtf8(), QCryptographicHash::Sha256).toHex();
    session.started = m_Start;
    session.ended = m_Start.addDays(m_Counts.days);
    session.jobs = 8;
    m_NewSessions.push_back(session);
    return m_Sessions[{station, plan}] = session.id;
}

bool CLotWriter::Flush(QString& error)
{
    const bool written = m_Db.Transaction(
        [this](QString& error) {
            for (const SessionRecord_T& session : m_NewSessions)
                if (!CRunRows::InsertSession(m_Db, session, error))
                    return false;
            for (auto& pending : m_Pending)
            {
                if (!CRunRows::InsertRun(m_Db, pending.first, error))
                    return false;
                for (size_t s = 0; s < pending.second.size(); ++s)
                    if (!CStepRows::Insert(m_Db, pending.first.id, static_cast<int>(s), 1, pending.second[s], error))
                        return false;
                if (!CRunFacts::Publish(m_Db, pending.first.id, error))
                    return false;
            }
            return true;
        },
        error);
    m_NewSessions.clear();
    m_Pending.clear();
    return written;
}

bool CLotWriter::Run(int serial, int plan, int attempt, bool faulty, LotSummary_T& summary)
{
    RunRecord_T run;
    run.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    run.sessionId = Session(serial % c_Stations, plan);
    run.unit = "ql4k";
    run.isVirtual = serial % 1000 == 999;
    run.product = serial % 4 == 3 ? "QL2K" : "QL4K";
    run.serial = QString("%1-%2").arg(run.product).arg(serial, 6, 10, QChar('0')).toUtf8();
    run.serialSource = "unit";
    run.applicationVersion = run.platformVersion = "1.0";
    run.productIdentification = run.product;
    run.operatorName = "bench";
    run.planName = QString("lot-%1.txt").arg(plan + 1);
    run.planSha256 = QCryptographicHash::hash(run.planName.toUtf8(), QCryptographicHash::Sha256).toHex();
    const double progress = static_cast<double>(summary.runs) / m_Counts.runs;
    run.started = m_Start.addMSecs(static_cast<qint64>(progress * m_Counts.days * 86400000.0));
    run.ended = run.started.addSecs(40);
    run.attempt = attempt;
    // The echo weakens slowly over the weeks, as a worn transducer batch would.
    Shape_T shape;
    shape.transmit = 500 + 20 * m_Random.Normal();
    shape.echo = 300 - 20 * progress + 25 * m_Random.Normal();
    shape.noise = 40 + 4 * m_Random.Normal();
    shape.tau = 8 + 0.6 * m_Random.Normal();
    const int faultStep = faulty ? FaultStep(m_Random) : -1;
    std::vector<StepResult_T> steps;
    run.met = true;
    for (const PlanStep_T& planStep : m_Plan.Steps())
    {
        const bool fault = static_cast<int>(steps.size()) == faultStep;
        steps.push_back(
            CDbBench::Step(planStep, Block(fault ? Faulty(shape, faultStep) : shape, m_Random), 8, m_Parser));
        run.met = run.met && steps.back().met;
    }
    run.result = run.met ? "passed" : "failed";
    summary.failed += run.met ? 0 : 1;
    summary.virtualRuns += run.isVirtual ? 1 : 0;
    ++summary.runs;
    m_Pending.emplace_back(run, std::move(steps));
    return run.met;
}

// Serial after serial, each through every plan, an attempt that failed tested
// again up to four times in all; more rounds of plans when the serials run out.
bool CLotWriter::Fill(LotSummary_T& summary, QString& error)
{
    summary.plans = m_Plans;
    for (int round = 0; summary.runs < m_Counts.runs; ++round)
        for (int serial = 0; serial < m_Counts.serials && summary.runs < m_Counts.runs; ++serial)
        {
            summary.serials = qMax(summary.serials, serial + 1);
            for (int p = 0; p < m_Plans && summary.runs < m_Counts.runs; ++p)
            {
                const int plan = round * m_Plans + p;
                bool passed = false;
                for (int attempt = 1; !passed && attempt <= 4 && summary.runs < m_Counts.runs; ++attempt)
                {
                    const bool faulty = m_Random.Uniform() < (attempt == 1 ? 0.09 : 0.3);
                    passed = Run(serial, plan, attempt, faulty, summary);
                    if (static_cast<int>(m_Pending.size()) == m_Counts.batch && !Flush(error))
                        return false;
                }
            }
        }
    return m_Pending.empty() || Flush(error);
}
}

bool CDbBenchLot::Store(const CDbTarget& target, const LotCounts_T& counts, LotSummary_T& summary, QString& error)
{
    summary = LotSummary_T();
    CResultsDb db;
    if (counts.runs < 1 || counts.serials < 1 || counts.days < 1 || counts.batch < 1)
    {
        error = "the lot needs at least one run, serial, day and run a transaction";
        return false;
    }
    // Each batch is built and freed again: handing the heap's top back to the
    // kernel every time costs more than the writing on a virtual machine.
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    mallopt(M_TOP_PAD, 64 << 20);
    if (!db.Open(target, error))
        return false;
    // A synthetic history need not survive a power cut: flushing every batch
    // to the disk would time the disk, not the station's writers.
    QSqlQuery query(db.Connection());
    const QStringList settings = db.Postgresql()
                                     ? QStringList{"SELECT set_config('synchronous_commit', 'off', false)"}
                                     : QStringList{"PRAGMA synchronous = OFF", "PRAGMA cache_size = -131072"};
    for (const QString& setting : settings)
        if (!db.Exec(query, setting, {}, error))
            return false;
    CLotWriter writer(db, counts);
    return writer.Fill(summary, error);
}
