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
