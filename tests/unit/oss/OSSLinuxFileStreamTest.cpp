#include "OSSLinuxFile.h"
#include "OssTestSupport.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>

namespace
{
class OSSLinuxFileStreamTest : public testing::Test
{
protected:
    std::unique_ptr<COSSLinuxFile> Open(const std::string& Text, int Flags = O_RDONLY)
    {
        const std::string Path = m_Dir + "/values" + std::to_string(++m_Count) + ".txt";
        WriteTextFile(Path, Text);
        std::unique_ptr<COSSLinuxFile> pFile(new COSSLinuxFile(Path.c_str(), Flags, 0));
        EXPECT_EQ(0, pFile->GetErrorCode());
        return pFile;
    }

    // One value read from Text; pPosition gets where the stream stood after it.
    template <typename T>
    T ReadOne(const std::string& Text, long* pPosition = nullptr)
    {
        std::unique_ptr<COSSLinuxFile> pFile = Open(Text);
        T Value{};
        EXPECT_TRUE(pFile->ReadStream(&Value)) << Text;
        if (pPosition)
            *pPosition = pFile->Ftell();
        return Value;
    }
    template <typename T>
    long PositionAfter(const std::string& Text)
    {
        long Position = -1;
        ReadOne<T>(Text, &Position);
        return Position;
    }

    std::string m_Dir = MakeTempDir();
    int m_Count = 0;
};
}

TEST_F(OSSLinuxFileStreamTest, EachDestinationTypeGetsItsConvertedValue)
{
    EXPECT_EQ(44, ReadOne<UINT8>("300 "));
    EXPECT_EQ(4464, ReadOne<UINT16>("70000 "));
    EXPECT_EQ(4294967295u, ReadOne<UINT32>("4294967295 "));
    EXPECT_EQ(123456789ul, ReadOne<unsigned long>("123456789 "));
    EXPECT_EQ(-12, ReadOne<int>("-12 "));
    EXPECT_EQ(-7, ReadOne<short>("-7 "));
    EXPECT_EQ('A', ReadOne<char>("65 "));
    EXPECT_TRUE(ReadOne<bool>("2"));
    EXPECT_FALSE(ReadOne<bool>("0"));

    // Formats with a trailing blank eat the whitespace after the value;
    // short and bool leave it.
    const char* const Text = "5 \n x";
    const struct
    {
        const char* Name;
        long Position;
        long Expected;
    } Positions[] = {
        {"int", PositionAfter<int>(Text), 4},     {"UINT8", PositionAfter<UINT8>(Text), 4},
        {"char", PositionAfter<char>(Text), 4},   {"unsigned long", PositionAfter<unsigned long>(Text), 4},
        {"short", PositionAfter<short>(Text), 1}, {"bool", PositionAfter<bool>(Text), 1},
    };
    for (const auto& Row : Positions)
        EXPECT_EQ(Row.Expected, Row.Position) << Row.Name;
}

TEST_F(OSSLinuxFileStreamTest, FloatingValuesLandInTheLowHalfOfADouble)
{
    const double Scanned = ReadOne<double>("1.5");
    float Low;
    UINT32 High;
    memcpy(&Low, &Scanned, sizeof(Low));
    memcpy(&High, reinterpret_cast<const char*>(&Scanned) + 4, sizeof(High));
    EXPECT_EQ(1.5f, Low);
    EXPECT_EQ(0u, High);

    // Narrowed to float, that tiny double is 0.
    EXPECT_EQ(0.0f, ReadOne<float>("1.5"));
    std::unique_ptr<COSSLinuxFile> pFile = Open("1.5 2.5 ");
    float Values[2] = {7.0f, 7.0f};
    EXPECT_TRUE(pFile->ReadStream(Values, 2));
    EXPECT_EQ(0.0f, Values[0]);
    EXPECT_EQ(0.0f, Values[1]);
    EXPECT_EQ(8, pFile->Ftell());
}

TEST_F(OSSLinuxFileStreamTest, EndOfInputSucceedsAndAReadErrorFails)
{
    std::unique_ptr<COSSLinuxFile> pFile = Open("12 34");
    int Value = 0;
    EXPECT_TRUE(pFile->ReadStream(&Value));
    EXPECT_TRUE(pFile->ReadStream(&Value));
    EXPECT_EQ(34, Value);
    // At the end errno is 0: a success that stores nothing.
    EXPECT_TRUE(pFile->ReadStream(&Value));
    EXPECT_EQ(34, Value);
    EXPECT_TRUE(pFile->Fseek(0, SEEK_SET));
    EXPECT_TRUE(pFile->ReadStream(&Value));
    EXPECT_EQ(12, Value);

    // A stream that cannot be read ends with the errno of the read.
    std::unique_ptr<COSSLinuxFile> pWriteOnly = Open("56", O_WRONLY);
    EXPECT_FALSE(pWriteOnly->ReadStream(&Value));
    EXPECT_EQ(EBADF, pWriteOnly->GetErrorCode());
    EXPECT_EQ(12, Value);

    // Text that is no number still counts as a read, of 0.
    std::unique_ptr<COSSLinuxFile> pWords = Open("abc");
    EXPECT_TRUE(pWords->ReadStream(&Value));
    EXPECT_EQ(0, Value);
    char Word[8] = {};
    EXPECT_TRUE(pWords->ReadStream(Word, "%7s"));
    EXPECT_STREQ("abc", Word);
    EXPECT_FALSE(pWords->ReadStream(Word, "%7s"));
}

TEST_F(OSSLinuxFileStreamTest, ArraysFillInOrderAndLeaveUnreadElementsAlone)
{
    const struct
    {
        int Flags;
        bool Result;
        int Error;
        int Expected[4];
    } Cases[] = {{O_RDONLY, true, 0, {1, -2, 3, 9}}, {O_WRONLY, false, EBADF, {9, 9, 9, 9}}};
    for (const auto& Case : Cases)
    {
        std::unique_ptr<COSSLinuxFile> pFile = Open("1 -2 3\n", Case.Flags);
        int Values[4] = {9, 9, 9, 9};
        EXPECT_EQ(Case.Result, pFile->ReadStream(Values, 4));
        EXPECT_EQ(Case.Error, pFile->GetErrorCode());
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(Case.Expected[i], Values[i]) << "flags " << Case.Flags << ", element " << i;
    }

    std::unique_ptr<COSSLinuxFile> pFile = Open("4 -5 6");
    short Shorts[2] = {};
    EXPECT_TRUE(pFile->ReadStream(Shorts, 2));
    EXPECT_EQ(4, Shorts[0]);
    EXPECT_EQ(-5, Shorts[1]);
    EXPECT_TRUE(pFile->ReadStream(Shorts, 0));
    EXPECT_EQ(4, Shorts[0]);
}

TEST_F(OSSLinuxFileStreamTest, RewriteCutAtTheStreamPositionLeavesNoOldTail)
{
    const std::string Path = m_Dir + "/record.txt";
    WriteTextFile(Path, "a much longer text that was there before\n");
    {
        COSSLinuxFile File(Path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK, 0640);
        EXPECT_TRUE(File.WriteStream("new\n"));
        EXPECT_TRUE(File.WriteStream("text\n"));
        EXPECT_EQ(0, File.Ftruncate(File.Ftell()));
    }
    EXPECT_EQ("new\ntext\n", ReadTextFile(Path));

    // A read-only descriptor cannot be cut: the errno is printed and returned.
    COSSLinuxFile Reader(Path.c_str(), O_RDONLY, 0);
    int Result = 0;
    EXPECT_EQ("Error in COSSLinuxFile::Ftruncate(): " + std::to_string(EINVAL) + "\n",
              CapturePrinted([&] { Result = Reader.Ftruncate(0); }));
    EXPECT_EQ(EINVAL, Result);
}
