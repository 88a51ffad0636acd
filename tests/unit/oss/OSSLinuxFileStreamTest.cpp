#include "OSSLinuxFile.h"
#include "OssTestSupport.h"

namespace
{
class OSSLinuxFileStreamTest : public testing::Test
{
protected:
    std::unique_ptr<COSSLinuxFile> Open(const std::string& Text, int Flags = O_RDONLY)
    {
        const std::string Path = m_Dir + "/values" + std::to_string(++m_Count) + ".txt";
        WriteTextFile(Path, Text);
        return std::make_unique<COSSLinuxFile>(Path.c_str(), Flags, 0);
    }
    // One value read from Text; m_Position is where the stream stood after it.
    template <typename T>
    T ReadOne(const std::string& Text)
    {
        auto pFile = Open(Text);
        T Value{};
        EXPECT_TRUE(pFile->ReadStream(&Value)) << Text;
        m_Position = pFile->Ftell();
        return Value;
    }
    template <typename T>
    long PositionAfter(const std::string& Text)
    {
        return ReadOne<T>(Text), m_Position;
    }

    std::string m_Dir = MakeTempDir();
    int m_Count = 0;
    long m_Position = -1;
};
}

TEST_F(OSSLinuxFileStreamTest, EachDestinationTypeGetsItsConvertedValueAndFloatsLandInTheLowHalfOfADouble)
{
    EXPECT_EQ(44, ReadOne<UINT8>("300 "));
    EXPECT_EQ(4464, ReadOne<UINT16>("70000 "));
    EXPECT_EQ(4294967295u, ReadOne<UINT32>("4294967295 "));
    EXPECT_EQ(123456789ul, ReadOne<unsigned long>("123456789 "));
    EXPECT_EQ(-7, ReadOne<short>("-7 "));
    EXPECT_EQ('A', ReadOne<char>("65 "));
    EXPECT_TRUE(ReadOne<bool>("2"));
    // Formats with a trailing blank eat the whitespace after the value; short and bool leave it.
    const char* const Text = "5 \n x";
    EXPECT_EQ(
        (std::vector<long>{4, 4, 4, 4, 1, 1}),
        (std::vector<long>{PositionAfter<int>(Text), PositionAfter<UINT8>(Text), PositionAfter<char>(Text),
                           PositionAfter<unsigned long>(Text), PositionAfter<short>(Text), PositionAfter<bool>(Text)}));

    // "%f" fills the low half of a double.
    const double Scanned = ReadOne<double>("1.5");
    float Halves[2];
    memcpy(Halves, &Scanned, sizeof(Halves));
    EXPECT_TRUE(Halves[0] == 1.5f && Halves[1] == 0.0f);
    // Narrowed to float, that tiny double is 0.
    EXPECT_EQ(0.0f, ReadOne<float>("1.5"));
    auto pFloats = Open("1.5 2.5 ");
    float Values[2] = {7.0f, 7.0f};
    EXPECT_TRUE(pFloats->ReadStream(Values, 2));
    EXPECT_TRUE(Values[0] == 0.0f && Values[1] == 0.0f);
    EXPECT_EQ(8, pFloats->Ftell());
}

TEST_F(OSSLinuxFileStreamTest, EndOfInputSucceedsTextThatIsNoNumberReadsAsZeroAndErrorsFail)
{
    auto pFile = Open("12 34");
    int Value = 0;
    EXPECT_TRUE(pFile->ReadStream(&Value) && pFile->ReadStream(&Value));
    // At the end errno is 0: a success that stores nothing.
    EXPECT_TRUE(pFile->ReadStream(&Value));
    EXPECT_EQ(34, Value);
    EXPECT_TRUE(pFile->Fseek(0, SEEK_SET) && pFile->ReadStream(&Value));
    EXPECT_EQ(12, Value);

    auto pWords = Open("abc");
    char Word[8] = {};
    EXPECT_TRUE(pWords->ReadStream(&Value) && pWords->ReadStream(Word, "%7s"));
    EXPECT_EQ(0, Value);
    EXPECT_STREQ("abc", Word);
    EXPECT_FALSE(pWords->ReadStream(Word, "%7s"));

    // Arrays fill in order; a read error leaves them alone.
    const struct
    {
        int Flags;
        bool Result;
        int Error;
        std::vector<int> Expected;
    } Cases[] = {{O_RDONLY, true, 0, {10, -23, 3, 9}}, {O_WRONLY, false, EBADF, {9, 9, 9, 9}}};
    for (const auto& Case : Cases)
    {
        auto pInts = Open("10 -23 3\n", Case.Flags);
        std::vector<int> Values(4, 9);
        EXPECT_EQ(Case.Result, pInts->ReadStream(Values.data(), 4));
        EXPECT_EQ(Case.Error, pInts->GetErrorCode());
        EXPECT_EQ(Case.Result, pInts->ReadStream(Values.data(), 1));  // single values fail alike
        EXPECT_EQ(Case.Expected, Values) << "flags " << Case.Flags;
    }
    // Decimal, so more than one digit reads as written.
    auto pShorts = Open("40 -51 6");
    short Shorts[2] = {};
    EXPECT_TRUE(pShorts->ReadStream(Shorts, 2) && pShorts->ReadStream(Shorts, 0));
    EXPECT_TRUE(Shorts[0] == 40 && Shorts[1] == -51);
}

TEST_F(OSSLinuxFileStreamTest, RewriteCutAtTheStreamPositionLeavesNoOldTail)
{
    const std::string Path = m_Dir + "/record.txt";
    WriteTextFile(Path, "a much longer text that was there before\n");
    {
        COSSLinuxFile File(Path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK, 0640);
        EXPECT_TRUE(File.WriteStream("new\n") && File.WriteStream("text\n"));
        EXPECT_EQ(0, File.Ftruncate(File.Ftell()));
        // Success is 0 whatever errno an earlier call left.
        errno = EIO;
        EXPECT_EQ(0, File.Fsync());
    }
    EXPECT_EQ("new\ntext\n", ReadTextFile(Path));
    // A read-only descriptor cannot be cut: the errno is printed and returned.
    COSSLinuxFile Reader(Path.c_str(), O_RDONLY, 0);
    int Result = 0;
    EXPECT_EQ("Error in COSSLinuxFile::Ftruncate(): " + std::to_string(EINVAL) + "\n",
              CapturePrinted([&] { Result = Reader.Ftruncate(0); }));
    EXPECT_EQ(EINVAL, Result);
}
