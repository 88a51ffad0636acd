// File rules both records share: creation, locking, failures, faults.
#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "PingMetaDataTestSupport.h"
#include "../ChildHolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace
{
struct Outcome_T
{
    TSQEventCode_T AtConstruction;
    TSQEventCode_T OnWrite;
};

// Makes a record of index 0 and, with Write, writes it once more.
template <typename Record_T>
Outcome_T Make(IOSSFactory* pFactory, bool Write)
{
    Record_T Record(pFactory, 0);
    return {Record.GetErrorCode(), Write ? Record.writeDB() : c_TSQ_Success};
}

struct Kind_T
{
    const char* Name;
    Outcome_T (*pMake)(IOSSFactory*, bool);
    const char* DefaultStart;  // how the kind's own text begins
};
const Kind_T c_Kinds[] = {
    {"Lowscan", Make<CDatabasePingMetaData>, "0\n255\n1024\n"},
    {"Lumet", Make<CDatabaseLumetPingMetaData>, "0\n255\n2048\n"},
};

bool StartsWith(const std::string& Text, const std::string& Start)
{
    return Text.compare(0, Start.size(), Start) == 0;
}

void WriteText(const std::string& Path, const std::string& Text)
{
    std::ofstream(Path, std::ios::binary | std::ios::trunc) << Text;
}

template <typename T>
bool AllZero(const T* pFirst, size_t Count)
{
    return std::all_of(pFirst, pFirst + Count, [](T Value) { return Value == 0; });
}

// Built over dirty memory, so anything the constructor forgets shows up.
template <typename Record_T>
void ExpectUnwrittenPartsCleared(IOSSFactory* pFactory, size_t Samples, CFPGAIF* (Record_T::*GetInterface)() const)
{
    alignas(Record_T) unsigned char Storage[sizeof(Record_T)];
    memset(Storage, 0xA5, sizeof(Storage));
    Record_T* pRecord = new (Storage) Record_T(pFactory, 0);
    EXPECT_EQ(0, pRecord->GetRawPingDataState());
    EXPECT_EQ(nullptr, (pRecord->*GetInterface)());
    EXPECT_EQ(nullptr, pRecord->GetPingStatistics());
    EXPECT_TRUE(AllZero(pRecord->GetPingParams().Image, sizeof(Sonar4PingParameters_T)));
    EXPECT_TRUE(AllZero(pRecord->GetRawPingDataPtr(), Samples));
    EXPECT_TRUE(AllZero(pRecord->GetProcessedPingDataPtr(), Samples));
    pRecord->~Record_T();
}
}

TEST_F(PingMetaDataTest, UnwrittenPartsStartCleared)
{
    ExpectUnwrittenPartsCleared(&m_Factory, 1024, &CDatabasePingMetaData::GetLowscanInterface);
    ExpectUnwrittenPartsCleared(&m_Factory, 2048, &CDatabaseLumetPingMetaData::GetFPGAInterface);
}

TEST_F(PingMetaDataTest, ExistingFileIsLeftAloneUntilTheRecordIsWritten)
{
    for (const Kind_T& Kind : c_Kinds)
    {
        const Kind_T& Other = &Kind == &c_Kinds[0] ? c_Kinds[1] : c_Kinds[0];
        SCOPED_TRACE(Kind.Name);
        WriteText(PathOf(0), "written by another process\n");
        EXPECT_EQ(0, Kind.pMake(&m_Factory, false).AtConstruction);
        EXPECT_EQ("written by another process\n", ReadText(PathOf(0)));

        // Both kinds share the file name of an index.
        ASSERT_EQ(0, unlink(PathOf(0).c_str()));
        EXPECT_EQ(0, Other.pMake(&m_Factory, false).AtConstruction);
        EXPECT_EQ(0, Kind.pMake(&m_Factory, false).AtConstruction);
        EXPECT_TRUE(StartsWith(ReadText(PathOf(0)), Other.DefaultStart));

        EXPECT_EQ(0, Kind.pMake(&m_Factory, true).OnWrite);
        EXPECT_TRUE(StartsWith(ReadText(PathOf(0)), Kind.DefaultStart));
    }
}

TEST_F(PingMetaDataTest, FileLockedByAnotherProcessIsNotWritten)
{
    for (const Kind_T& Kind : c_Kinds)
    {
        SCOPED_TRACE(Kind.Name);
        WriteText(PathOf(0), "being written elsewhere\n");
        {
            CChildHolder Holder(PathOf(0), O_WRONLY);
            ASSERT_EQ(0, Holder.m_OpenError);
            EXPECT_EQ(-140, Kind.pMake(&m_Factory, true).OnWrite);
            EXPECT_EQ("being written elsewhere\n", ReadText(PathOf(0)));
        }
        // Once written, the record lets go of the file.
        EXPECT_EQ(0, Kind.pMake(&m_Factory, true).OnWrite);
        EXPECT_EQ(0, CChildHolder(PathOf(0), O_WRONLY).m_OpenError);
    }
}

TEST_F(PingMetaDataTest, WriteFailuresComeBackAsCodes)
{
    typedef int (*Prepare_T)(const std::string& Root, const std::string& Path);
    const struct
    {
        const char* Location;
        Prepare_T Prepare;
        TSQEventCode_T Expected;
    } Cases[] = {
        // The open works, the write fails.
        {"full-device", [](const std::string&, const std::string& Path) { return symlink("/dev/full", Path.c_str()); },
         -142},
        {"directory-in-the-way", [](const std::string&, const std::string& Path) { return mkdir(Path.c_str(), 0755); },
         EISDIR},
        // Last: it has to be skipped where permissions can be overridden.
        {"read-only", [](const std::string& Root, const std::string&) { return chmod(Root.c_str(), 0555); }, EACCES},
    };
    for (const auto& Case : Cases)
        for (const Kind_T& Kind : c_Kinds)
        {
            SCOPED_TRACE(testing::Message() << Kind.Name << " into " << Case.Location);
            const std::string Root = m_Root + Kind.Name + "-" + Case.Location + "/";
            ASSERT_EQ(0, mkdir(Root.c_str(), 0755));
            ASSERT_EQ(0, setenv("NONPERSISTED_DATABASE_ROOT", Root.c_str(), 1));
            ASSERT_EQ(0, Case.Prepare(Root, Root + "PingMetaData0.txt"));
            if (Case.Expected == EACCES && access(Root.c_str(), W_OK) == 0)
                GTEST_SKIP() << "runs with the right to override permissions";

            const Outcome_T Outcome = Kind.pMake(&m_Factory, true);
            EXPECT_EQ(Case.Expected, Outcome.AtConstruction);
            EXPECT_EQ(Case.Expected, Outcome.OnWrite);
        }
}

class PingMetaDataDeathTest : public PingMetaDataTest
{
};

TEST_F(PingMetaDataDeathTest, ProgrammingFaultsEndTheRun)
{
    CDatabasePingMetaData Record(&m_Factory, 0);
    EXPECT_DEATH(Record.readDB(), "Assertion .0 && \"CDatabasePingMetaData can't be read from disk!\". failed");
    CDatabaseLumetPingMetaData LumetRecord(&m_Factory, 1);
    EXPECT_DEATH(LumetRecord.readDB(),
                 "Assertion .0 && \"CDatabaseLumetPingMetaData can't be read from disk!\". failed");

    EXPECT_DEATH(CDatabasePingMetaData(nullptr, 0), "Assertion .m_pFactory. failed");
    EXPECT_DEATH(CDatabaseLumetPingMetaData(nullptr, 0), "Assertion .m_pFactory. failed");

    // One character over the limit.
    const std::string LongRoot = m_Root + std::string(MAX_DATABASE_PATH_LENGTH - m_Root.size() - 17, 'r') + "/";
    ASSERT_EQ(MAX_DATABASE_PATH_LENGTH + 1, (LongRoot + "PingMetaData0.txt").size());
    ASSERT_EQ(0, setenv("NONPERSISTED_DATABASE_ROOT", LongRoot.c_str(), 1));
    EXPECT_DEATH(CDatabasePingMetaData(&m_Factory, 0),
                 "Database/DatabasePingMetaData.cpp:[0-9]+: .*Assertion .m_DatabaseFilePath\\.length\\(\\) <= "
                 "MAX_DATABASE_PATH_LENGTH. failed");
    EXPECT_DEATH(CDatabaseLumetPingMetaData(&m_Factory, 0),
                 "Database/DatabaseLumetPingMetaData.cpp:[0-9]+: .*Assertion .m_DatabaseFilePath\\.length\\(\\) <= "
                 "MAX_DATABASE_PATH_LENGTH. failed");
}
