// File rules both records share: creation, locking, failures, faults.
#include "../ChildHolder.h"
#include "DatabaseLumetPingMetaData.h"
#include "DatabasePingMetaData.h"
#include "PingMetaDataTestSupport.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace
{
// Makes a record of index 0 and gives its construction error, or with Write
// the result of writing it once more.
template <typename Record_T>
TSQEventCode_T Make(IOSSFactory* pFactory, bool Write)
{
    Record_T Record(pFactory, 0);
    return Write ? Record.writeDB() : Record.GetErrorCode();
}

const struct Kind_T
{
    const char* Name;
    TSQEventCode_T (*pMake)(IOSSFactory*, bool);
    const char* DefaultStart;  // how the kind's own text begins
} c_Kinds[] = {
    {"Lowscan", Make<CDatabasePingMetaData>, "0\n255\n1024\n"},
    {"Lumet", Make<CDatabaseLumetPingMetaData>, "0\n255\n2048\n"},
};

void WriteText(const std::string& Path, const std::string& Text)
{
    std::ofstream(Path, std::ios::binary | std::ios::trunc) << Text;
}

// Built over dirty memory, so anything the constructor forgets shows up.
template <typename Record_T>
void ExpectUnwrittenPartsCleared(IOSSFactory* pFactory, size_t Samples, CFPGAIF* (Record_T::*GetInterface)() const)
{
    alignas(Record_T) unsigned char Storage[sizeof(Record_T)];
    memset(Storage, 0xA5, sizeof(Storage));
    Record_T* pRecord = new (Storage) Record_T(pFactory, 0);
    const auto Zero = [](auto* pFirst, size_t Count) {
        return std::all_of(pFirst, pFirst + Count, [](auto Value) { return Value == 0; });
    };
    EXPECT_EQ(0, pRecord->GetRawPingDataState());
    EXPECT_TRUE((pRecord->*GetInterface)() == nullptr && pRecord->GetPingStatistics() == nullptr);
    EXPECT_TRUE(Zero(pRecord->GetPingParams().Image, sizeof(Sonar4PingParameters_T)));
    EXPECT_TRUE(Zero(pRecord->GetRawPingDataPtr(), Samples) && Zero(pRecord->GetProcessedPingDataPtr(), Samples));
    pRecord->~Record_T();
}
}

TEST_F(PingMetaDataTest, UnwrittenPartsStartCleared)
{
    ExpectUnwrittenPartsCleared(&m_Factory, 1024, &CDatabasePingMetaData::GetLowscanInterface);
    ExpectUnwrittenPartsCleared(&m_Factory, 2048, &CDatabaseLumetPingMetaData::GetFPGAInterface);
}

TEST_F(PingMetaDataTest, ExistingFileIsLeftAloneUntilTheRecordIsWrittenAndNotWhileLockedElsewhere)
{
    for (const Kind_T& Kind : c_Kinds)
    {
        SCOPED_TRACE(Kind.Name);
        const Kind_T& Other = &Kind == &c_Kinds[0] ? c_Kinds[1] : c_Kinds[0];
        // Both kinds share the file name of an index.
        ASSERT_EQ(0, Other.pMake(&m_Factory, false));
        EXPECT_EQ(0, Kind.pMake(&m_Factory, false));
        EXPECT_EQ(Other.DefaultStart, ReadText(PathOf(0)).substr(0, strlen(Other.DefaultStart)));

        WriteText(PathOf(0), "being written elsewhere\n");
        {
            CChildHolder Holder(PathOf(0), O_WRONLY);
            ASSERT_EQ(0, Holder.m_OpenError);
            EXPECT_EQ(-140, Kind.pMake(&m_Factory, true));
            EXPECT_EQ("being written elsewhere\n", ReadText(PathOf(0)));
        }
        // Once written, the record lets go of the file.
        EXPECT_EQ(0, Kind.pMake(&m_Factory, true));
        EXPECT_EQ(Kind.DefaultStart, ReadText(PathOf(0)).substr(0, strlen(Kind.DefaultStart)));
        EXPECT_EQ(0, CChildHolder(PathOf(0), O_WRONLY).m_OpenError);
        ASSERT_EQ(0, unlink(PathOf(0).c_str()));
    }
}

TEST_F(PingMetaDataTest, WriteFailuresComeBackAsCodes)
{
    // /dev/full opens and then fails the write; a directory in the way or a
    // read-only folder (the unit runs without capabilities) fails the open.
    enum Location_T
    {
        eFullDevice,
        eDirectoryInTheWay,
        eReadOnlyFolder
    };
    const struct
    {
        const char* Location;
        Location_T Kind;
        TSQEventCode_T Expected;
    } Cases[] = {{"full-device", eFullDevice, -142},
                 {"directory-in-the-way", eDirectoryInTheWay, EISDIR},
                 {"read-only-folder", eReadOnlyFolder, EACCES}};
    for (const auto& Case : Cases)
        for (const Kind_T& Kind : c_Kinds)
        {
            SCOPED_TRACE(testing::Message() << Kind.Name << " into " << Case.Location);
            const std::string Root = m_Root + Kind.Name + "-" + Case.Location + "/";
            ASSERT_EQ(0, mkdir(Root.c_str(), Case.Kind == eReadOnlyFolder ? 0555 : 0755));
            ASSERT_EQ(0, setenv("NONPERSISTED_DATABASE_ROOT", Root.c_str(), 1));
            const std::string Path = Root + "PingMetaData0.txt";
            if (Case.Kind == eDirectoryInTheWay)
            {
                ASSERT_EQ(0, mkdir(Path.c_str(), 0755));
            }
            else if (Case.Kind == eFullDevice)
            {
                ASSERT_EQ(0, symlink("/dev/full", Path.c_str()));
            }
            EXPECT_EQ(Case.Expected, Kind.pMake(&m_Factory, false));
            EXPECT_EQ(Case.Expected, Kind.pMake(&m_Factory, true));
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
    const std::string Fault =
        ".cpp:[0-9]+: .*Assertion .m_DatabaseFilePath\\.length\\(\\) <= MAX_DATABASE_PATH_LENGTH. failed";
    EXPECT_DEATH(CDatabasePingMetaData(&m_Factory, 0), "Database/DatabasePingMetaData" + Fault);
    EXPECT_DEATH(CDatabaseLumetPingMetaData(&m_Factory, 0), "Database/DatabaseLumetPingMetaData" + Fault);
}
