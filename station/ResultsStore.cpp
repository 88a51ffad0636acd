#include "ResultsStore.h"

#include "ResultsDb.h"
#include "RunRows.h"
#include "SpoolSync.h"
#include "StepRows.h"

#include <QFileInfo>
#include <QUuid>

namespace
{
QString NewId()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}
}

CResultsStore::CResultsStore(FILE* messages) : m_Messages(messages) {}

CResultsStore::~CResultsStore()
{
    m_Thread.Call([this]() {
        m_Db.reset();
        m_Spool.reset();
    });
}

void CResultsStore::Say(const QString& message) const
{
    if (m_Messages)
    {
        fprintf(m_Messages, "%s\n", qPrintable(message));
        fflush(m_Messages);
    }
}

bool CResultsStore::Open(const CDbTarget& target, QString& error)
{
    m_Target = target;
    if (target.Kind() == CDbTarget::NONE)
        return true;
    bool opened = false;
    m_Thread.Call([&]() {
        m_Db = std::make_unique<CResultsDb>();
        if (m_Db->Open(target, error))
        {
            opened = true;
            if (m_Db->Postgresql())
                SyncSpool();
            return;
        }
        const bool unreachable = m_Db->Unreachable();
        m_Db.reset();
        opened = unreachable && StartSpool(error, error);
    });
    return opened;
}

bool CResultsStore::StartSpool(const QString& reason, QString& error)
{
    m_Spool = std::make_unique<CResultsDb>();
    if (!m_Spool->Open(CDbTarget::Sqlite(CDbTarget::SpoolPath()), error))
        return false;
    m_Spooling = true;
    Say(QString("%1; results go to the spool %2 until sonarstation sync moves them")
            .arg(reason, CDbTarget::SpoolPath()));
    return true;
}

void CResultsStore::SyncSpool()
{
    if (!QFileInfo::exists(CDbTarget::SpoolPath()))
        return;
    CResultsDb spool;
    QString error;
    int moved = 0;
    if (!spool.Open(CDbTarget::Sqlite(CDbTarget::SpoolPath()), error) || !CSpoolSync::Sync(spool, *m_Db, moved, error))
        Say(QString("the spool stays as it is: %1").arg(error));
    else if (moved > 0)
        Say(QString("%1 spooled run(s) moved to %2").arg(moved).arg(m_Target.Display()));
}

bool CResultsStore::Sync(const CDbTarget& target, int& moved, QString& error)
{
    moved = 0;
    if (target.Kind() != CDbTarget::POSTGRESQL)
    {
        error = "sync moves spooled runs to a PostgreSQL database: --db needs a postgresql:// URL";
        return false;
    }
    CResultsDb db;
    if (!db.Open(target, error))
        return false;
    if (!QFileInfo::exists(CDbTarget::SpoolPath()))
        return true;
    CResultsDb spool;
    return spool.Open(CDbTarget::Sqlite(CDbTarget::SpoolPath()), error) && CSpoolSync::Sync(spool, db, moved, error);
}

bool CResultsStore::Write(const Work_T& work, QString& error)
{
    if (m_Target.Kind() == CDbTarget::NONE)
        return true;
    bool written = false;
    m_Thread.Call([&]() {
        if (!m_Db && !m_Spooling)
        {
            error = QString("results database %1: not open").arg(m_Target.Display());
            return;
        }
        if (!m_Spooling)
        {
            written = m_Db->Transaction([&](QString& error) { return work(*m_Db, error); }, error);
            // A server that still answers refused the rows: spooling would not help.
            if (written || !m_Db->Postgresql() || m_Db->Alive())
                return;
            m_Db.reset();
            if (!StartSpool(error, error))
                return;
        }
        written = WriteToSpool(work, error);
    });
    return written;
}

bool CResultsStore::WriteToSpool(const Work_T& work, QString& error)
{
    return m_Spool->Transaction(
        [&](QString& error) {
            // A synchronisation may have moved them away meanwhile.
            if (!m_Session.id.isEmpty() && !CRunRows::InsertSession(*m_Spool, m_Session, error))
                return false;
            for (auto& run : m_Runs)
                if (!CRunRows::InsertRun(*m_Spool, run.second, error))
                    return false;
            return work(*m_Spool, error);
        },
        error);
}

bool CResultsStore::BeginSession(SessionRecord_T& session, QString& error)
{
    if (session.id.isEmpty())
        session.id = NewId();
    if (!session.started.isValid())
        session.started = QDateTime::currentDateTimeUtc();
    m_Session = session;
    return Write([&](CResultsDb& db, QString& error) { return CRunRows::InsertSession(db, session, error); }, error);
}

bool CResultsStore::BeginRun(RunRecord_T& run, QString& error)
{
    if (run.id.isEmpty())
        run.id = NewId();
    if (run.sessionId.isEmpty())
        run.sessionId = m_Session.id;
    if (!run.started.isValid())
        run.started = QDateTime::currentDateTimeUtc();
    run.result = "aborted";
    const RunRecord_T given = run;
    const bool written = Write(
        [&](CResultsDb& db, QString& error) {
            // Counted again on every try of the transaction.
            run = given;
            return CRunRows::InsertRun(db, run, error);
        },
        error);
    if (written)
        m_Thread.Call([&]() { m_Runs[run.id] = run; });
    return written;
}

bool CResultsStore::AddStep(const QString& runId, int index, const StepResult_T& step, QString& error)
{
    return Write([&](CResultsDb& db,
                     QString& error) { return CStepRows::Insert(db, runId, index, step.tryNumber, step, error); },
                 error);
}

bool CResultsStore::FinishRun(const QString& runId, const QString& result, bool met, QString& error)
{
    UnitResult_T unit;
    unit.met = met;
    return FinishRun(runId, result, unit, error);
}

bool CResultsStore::FinishRun(const QString& runId, const QString& result, const UnitResult_T& unit, QString& error)
{
    RunRecord_T run;
    run.id = runId;
    run.result = result;
    run.met = unit.met;
    run.unitError = unit.error;
    run.unreachable = unit.unreachable;
    run.ended = QDateTime::currentDateTimeUtc();
    m_Thread.Call([&]() {
        const auto cached = m_Runs.find(runId);
        if (cached == m_Runs.end())
            return;
        cached->second.result = result;
        cached->second.met = run.met;
        cached->second.ended = run.ended;
        cached->second.unitError = run.unitError;
        cached->second.unreachable = run.unreachable;
    });
    return Write([&](CResultsDb& db, QString& error) { return CRunRows::FinishRun(db, run, error); }, error);
}

bool CResultsStore::FinishSession(double seconds, bool met, QString& error)
{
    m_Thread.Call([&]() {
        m_Session.ended = QDateTime::currentDateTimeUtc();
        m_Session.seconds = seconds;
        m_Session.met = met;
    });
    const SessionRecord_T session = m_Session;
    return Write([&](CResultsDb& db, QString& error) { return CRunRows::FinishSession(db, session, error); }, error);
}

bool CResultsStore::Read(const Work_T& work, QString& error)
{
    bool read = false;
    m_Thread.Call([&]() {
        if (!m_Db || m_Spooling)
        {
            error = QString("results database %1: out of reach").arg(m_Target.Display());
            return;
        }
        read = work(*m_Db, error);
    });
    return read;
}

bool CResultsStore::LatestRunOfPlan(const QByteArray& serial, const QString& planName, RunRecord_T& run, bool& found,
                                    QString& error)
{
    return Read([&](CResultsDb& db,
                    QString& error) { return CRunRows::LatestRunOfPlan(db, serial, planName, run, found, error); },
                error);
}

bool CResultsStore::PlanSeen(const QString& planName, bool& seen, QString& error)
{
    return Read([&](CResultsDb& db, QString& error) { return CRunRows::PlanSeen(db, planName, seen, error); }, error);
}
