#include "EngineTest.h"

#include "PgCluster.h"

#include <memory>

namespace
{
// Destroyed when the program ends, which stops the server.
std::unique_ptr<CPgCluster> s_Cluster;
QString s_ClusterError;
int s_Databases = 0;
}

void CEngineTest::SetUp()
{
    ASSERT_TRUE(m_Home.isValid());
    // Nothing a test does may reach the home folder.
    qputenv("XDG_DATA_HOME", m_Home.path().toUtf8());
    qunsetenv("SONARSTATION_DB");
    if (QString(GetParam()) == "sqlite")
    {
        m_Url = m_Home.path() + "/results.db";
        m_Target = CDbTarget::Sqlite(m_Url);
        return;
    }
    const QString missing = CPgCluster::Missing();
    if (!missing.isEmpty())
        GTEST_SKIP() << "skipped: " << missing.toStdString();
    if (!s_Cluster && s_ClusterError.isEmpty())
    {
        s_Cluster = std::make_unique<CPgCluster>();
        if (!s_Cluster->Create(s_ClusterError))
            s_Cluster.reset();
    }
    ASSERT_TRUE(s_Cluster) << s_ClusterError.toStdString();
    const QString name = QString("t%1").arg(++s_Databases);
    QString error;
    ASSERT_TRUE(s_Cluster->CreateDatabase(name, error)) << error.toStdString();
    qputenv("PGPASSWORD", CPgCluster::Password());
    m_Url = s_Cluster->Url(name);
    ASSERT_TRUE(CDbTarget::Parse(m_Url, m_Target, error)) << error.toStdString();
}

void CEngineTest::TearDown()
{
    qunsetenv("PGPASSWORD");
}

Outcome_T Captured(const std::function<int(FILE* out, FILE* err)>& command)
{
    char* out = nullptr;
    char* err = nullptr;
    size_t outSize = 0;
    size_t errSize = 0;
    FILE* outFile = open_memstream(&out, &outSize);
    FILE* errFile = open_memstream(&err, &errSize);
    Outcome_T outcome;
    outcome.status = command(outFile, errFile);
    fclose(outFile);
    fclose(errFile);
    outcome.out.assign(out, outSize);
    outcome.err.assign(err, errSize);
    free(out);
    free(err);
    return outcome;
}
