// The simulated FPGAs in-process: packets built here byte by byte, so the
// models are checked against the wire format, not against the transports.
#include "CorModel.h"
#include "FirmwareImage.h"
#include "LowscanSpiModel.h"
#include "LowscanUartModel.h"
#include "LumetModel.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
typedef std::vector<uint8_t> Bytes;

Bytes Packet(uint16_t address, bool read, bool block, const Bytes& payload, int checksumDelta = 0)
{
    const size_t n = payload.size();
    Bytes p = {0x43,
               0x53,
               static_cast<uint8_t>(address),
               static_cast<uint8_t>(address >> 8),
               static_cast<uint8_t>((read ? 1 : 0) | (block ? 2 : 0)),
               static_cast<uint8_t>(n - 1),
               static_cast<uint8_t>((n - 1) >> 8)};
    uint8_t sum = 0;
    for (uint8_t b : payload)
    {
        p.push_back(read ? 0 : b);
        sum = static_cast<uint8_t>(sum + (read ? 0 : b));
    }
    p.push_back(static_cast<uint8_t>(sum + checksumDelta));
    return p;
}

struct Rig_T
{
    explicit Rig_T(const std::string& line)
    {
        std::string error;
        EXPECT_TRUE(FpgaSetup_T::Parse(line, setup, error)) << error;
        model = CFpgaModel::Create(setup, trace);
    }
    void Send(Bytes bytes) { model->Write(bytes.data(), bytes.size()); }
    Bytes Reply()
    {
        Bytes out(8192);
        out.resize(static_cast<size_t>(model->Read(out.data(), out.size())));
        return out;
    }
    // One register read; the reply's data bytes, its checksum checked.
    Bytes ReadRegister(uint16_t address, size_t n = 1, bool block = false)
    {
        Send(Packet(address, true, block, Bytes(n)));
        Bytes reply = Reply();
        if (reply.size() != n + 1)
            return Bytes();
        uint8_t sum = 0;
        for (size_t i = 0; i < n; ++i)
            sum = static_cast<uint8_t>(sum + reply[i]);
        EXPECT_EQ(sum, reply[n]) << "reply checksum";
        reply.pop_back();
        return reply;
    }
    Bytes PingRead(uint16_t fifo, size_t n)
    {
        uint32_t descriptor[5] = {0x5343, fifo, 0, 1, 1};
        EXPECT_EQ(0, model->Ioctl(CSpiPacketModel::c_StartPingRead, descriptor));
        Bytes data(n, 0xEE);
        model->Write(data.data(), data.size());
        model->Ioctl(CSpiPacketModel::c_EndPingRead, nullptr);
        return data;
    }
    FpgaSetup_T setup;
    CFpgaTrace trace;
    std::unique_ptr<CFpgaModel> model;
};

bool Has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
}

TEST(SpiModel, WriteWithBadChecksumIsIgnoredAndTraced)
{
    Rig_T cor("/dev/LSfpga0 cor");
    cor.Send(Packet(4, false, false, {0x02}, 1));
    EXPECT_EQ(0, static_cast<CCorModel&>(*cor.model).Register(4));
    EXPECT_TRUE(Has(cor.trace.Text(), "write 0x0004 [1] 02: checksum error, sum 02 packet 03: ignored"));
    cor.Send(Packet(4, false, false, {0x02}));
    EXPECT_EQ(2, static_cast<CCorModel&>(*cor.model).Register(4));
}

TEST(SpiModel, UnknownAddressesAreTracedAndReadAsZero)
{
    for (const char* line : {"/dev/LSfpga0 cor", "/dev/LSfpga0 lumet"})
    {
        Rig_T rig(line);
        rig.Send(Packet(0x1234, false, false, {0x55}));
        EXPECT_TRUE(Has(rig.trace.Text(), "write 0x1234 [1] 55: unknown register, 1 bytes ignored")) << line;
        EXPECT_EQ(Bytes({0}), rig.ReadRegister(0x1234)) << line;
        EXPECT_TRUE(Has(rig.trace.Text(), "read 0x1234 [1]: unknown register")) << line;
    }
}

TEST(SpiModel, BrokenTransfersAreDropped)
{
    Rig_T cor("/dev/LSfpga0 cor");
    Bytes transfer = Packet(8, false, false, {0x07});
    Bytes second = Packet(4, false, false, {0x09});
    second[0] = 0x44;  // no sync word: the rest of the transfer is lost
    transfer.insert(transfer.end(), second.begin(), second.end());
    cor.Send(transfer);
    EXPECT_EQ(7, static_cast<CCorModel&>(*cor.model).Register(8));
    EXPECT_EQ(0, static_cast<CCorModel&>(*cor.model).Register(4));
    Bytes truncated = Packet(4, false, false, {1, 2, 3});
    truncated.resize(9);
    cor.Send(truncated);
    EXPECT_TRUE(Has(cor.trace.Text(), "no sync word"));
    EXPECT_TRUE(Has(cor.trace.Text(), "length 3 but 9 bytes left"));
}

TEST(SpiModel, PingReadBeforeAnyPingUnderrunsUntilTheFifoIsCleared)
{
    struct Case_T
    {
        const char* line;
        uint16_t fifo, status, control;
    } cases[] = {{"/dev/LSfpga0 cor", 80, 82, 81}, {"/dev/LSfpga0 lumet", 0x8050, 0x8052, 0x8051}};
    for (const Case_T& c : cases)
    {
        Rig_T rig(c.line);
        EXPECT_EQ(Bytes({4}), rig.ReadRegister(c.status)) << c.line;
        EXPECT_EQ(Bytes(16, 0), rig.PingRead(c.fifo, 16)) << c.line;
        EXPECT_EQ(Bytes({6}), rig.ReadRegister(c.status)) << c.line;
        rig.Send(Packet(c.control, false, false, {2}));
        EXPECT_EQ(Bytes({4}), rig.ReadRegister(c.status)) << c.line;
    }
}

TEST(SpiModel, VersionComesFromTheLoadedImage)
{
    Rig_T lumet("/dev/LSfpga0 lumet");
    EXPECT_EQ(Bytes({255}), lumet.ReadRegister(2));
    lumet.model->LoadFirmware(CFirmwareImage::Make("lumet", 2, 5) + std::string(100, '\x7f'));
    EXPECT_EQ(Bytes({2}), lumet.ReadRegister(2));
    lumet.model->LoadFirmware("1\n");  // starts a load: blank again
    EXPECT_EQ(Bytes({255}), lumet.ReadRegister(2));
    lumet.model->LoadFirmware(CFirmwareImage::Make("cor", 3, 2));
    EXPECT_EQ(Bytes({255}), lumet.ReadRegister(2));
    EXPECT_TRUE(Has(lumet.trace.Text(), "not a lumet image"));

    Rig_T zero("/dev/LSfpga0 cor fault=version0");
    zero.model->LoadFirmware(CFirmwareImage::Make("cor", 3, 2));
    EXPECT_EQ(Bytes({0}), zero.ReadRegister(2));
}

TEST(SpiModel, ReplyFaults)
{
    Rig_T silent("/dev/LSfpga0 cor fault=no-reply");
    silent.Send(Packet(66, true, false, Bytes(1)));
    EXPECT_FALSE(silent.model->Readable());
    Rig_T spoiled("/dev/LSfpga0 cor transducer=0x33 fault=bad-checksum");
    spoiled.Send(Packet(66, true, false, Bytes(1)));
    EXPECT_EQ(Bytes({0x33, 0x34}), spoiled.Reply());
}

TEST(SpiModel, CorPingFollowsTheSampleCountAndRaisesTheInterrupt)
{
    Rig_T cor("/dev/LSfpga0 cor depth=25 seed=9");
    EXPECT_EQ(0, cor.model->Ioctl(CSpiPacketModel::c_WaitInterrupt, nullptr));
    for (unsigned int count : {256u, 1024u})
    {
        cor.Send(Packet(16, false, false, {static_cast<uint8_t>(count / 16)}));
        cor.Send(Packet(0, false, false, {1}));
        EXPECT_EQ(1, cor.model->Ioctl(CSpiPacketModel::c_WaitInterrupt, nullptr));
        // The FIFO holds exactly the 16-bit samples a ping read takes.
        const Bytes data = cor.PingRead(80, count * 2);
        size_t peak = count / 32;
        for (size_t i = peak; i < count; ++i)
            if (data[i * 2] > data[peak * 2])
                peak = i;
        EXPECT_EQ(count * 25 / 100, peak) << count;
        EXPECT_GT(data[0], 200) << "transmit bang";
        EXPECT_EQ(0, data[1]);
        EXPECT_EQ(Bytes({4}), cor.ReadRegister(82));
    }
}

TEST(SpiModel, CorTransducerCommandRaisesTheInterrupt)
{
    Rig_T cor("/dev/LSfpga0 cor");
    cor.Send(Packet(0, false, false, {0x04}));
    EXPECT_EQ(1, cor.model->Ioctl(CSpiPacketModel::c_WaitInterrupt, nullptr));
}

TEST(SpiModel, PingFaults)
{
    Rig_T fifo("/dev/LSfpga0 cor fault=fifo-status");
    fifo.Send(Packet(16, false, false, {1}));
    fifo.Send(Packet(0, false, false, {1}));
    fifo.PingRead(80, 32);
    EXPECT_EQ(Bytes({5}), fifo.ReadRegister(82));

    Rig_T shortPing("/dev/LSfpga0 lumet fault=short-ping");
    shortPing.Send(Packet(0x4010, false, false, {1}));
    shortPing.Send(Packet(0, false, false, {1}));
    uint32_t descriptor[5] = {0x5343, 0x4050, 0, 1, 1};
    shortPing.model->Ioctl(CSpiPacketModel::c_StartPingRead, descriptor);
    Bytes data(16);
    EXPECT_EQ(8, shortPing.model->Write(data.data(), data.size()));
}

TEST(SpiModel, LumetAdcChannelsAndDescriptor)
{
    Rig_T lumet("/dev/LSfpga0 lumet adc=0x010203,0x0a0b0c,0x112233");
    EXPECT_EQ(Bytes({0x0c, 0x0b, 0x0a}), lumet.ReadRegister(132, 3, true));
    EXPECT_EQ(Bytes({0x33, 0x22, 0x11}), lumet.ReadRegister(136, 3, true));
    lumet.Send(Packet(0x8010, false, false, {2}));  // channel 1: 32 samples, channel 0 none
    lumet.Send(Packet(0, false, false, {1}));
    EXPECT_EQ(Bytes({1}), lumet.ReadRegister(0x8052));
    EXPECT_EQ(Bytes({4}), lumet.ReadRegister(0x4052));
    EXPECT_EQ(32u, lumet.PingRead(0x8050, 32).size());
    EXPECT_EQ(Bytes({4}), lumet.ReadRegister(0x8052));
    uint32_t wrongSync[5] = {0x4353, 0x4050, 0, 1, 1};
    EXPECT_EQ(-1, lumet.model->Ioctl(CSpiPacketModel::c_StartPingRead, wrongSync));
    uint32_t noFifo[5] = {0x5343, 80, 0, 1, 1};
    EXPECT_EQ(-1, lumet.model->Ioctl(CSpiPacketModel::c_StartPingRead, noFifo));
}

namespace
{
Bytes Frame(uint16_t address, uint32_t value, int checksumDelta = 0)
{
    Bytes f = {0xF5,
               static_cast<uint8_t>(address >> 8),
               static_cast<uint8_t>(address),
               static_cast<uint8_t>(value >> 24),
               static_cast<uint8_t>(value >> 16),
               static_cast<uint8_t>(value >> 8),
               static_cast<uint8_t>(value)};
    uint8_t sum = 0;
    for (uint8_t b : f)
        sum = static_cast<uint8_t>(sum + b);
    f.push_back(static_cast<uint8_t>(sum + checksumDelta));
    return f;
}
}

TEST(LowscanModel, UartFramesVersionAndPingPacket)
{
    Rig_T uart("/dev/ttyO1 lowscan-uart flash=1.4 depth=50");
    uart.Send(Frame(37, 200, 1));  // bad checksum: ignored
    Bytes split = Frame(1, 3);     // a frame may arrive in pieces
    uart.Send(Bytes(split.begin(), split.begin() + 3));
    EXPECT_FALSE(uart.model->Readable());
    uart.Send(Bytes(split.begin() + 3, split.end()));
    const Bytes version = uart.Reply();
    ASSERT_EQ(1024u, version.size());
    EXPECT_EQ(1, version[2]);
    EXPECT_EQ(4, version[3]);

    uart.Send(Frame(37, 200));
    uart.Send(Frame(34, 0x123));
    uart.Send(Frame(1, 1));
    const Bytes packet = uart.Reply();
    ASSERT_EQ(132u + 3 + 72, packet.size());
    EXPECT_EQ(0x12, packet[130]);  // the block's first value: the gain word in the top 12 bits
    EXPECT_EQ(0x30, packet[131]);
    size_t peak = 200 / 32;
    for (size_t i = peak; i < 200; ++i)
        if (packet[2 + i + (i >= 128 ? 4 : 0)] > packet[2 + peak + (peak >= 128 ? 4 : 0)])
            peak = i;
    EXPECT_EQ(100u, peak);
    EXPECT_TRUE(Has(uart.trace.Text(), "checksum error"));
}

TEST(LowscanModel, UartFaults)
{
    Rig_T silent("/dev/ttyO1 lowscan-uart flash=1.4 fault=no-reply");
    silent.Send(Frame(1, 3));
    EXPECT_FALSE(silent.model->Readable());
    Rig_T shortPing("/dev/ttyO1 lowscan-uart fault=short-ping");
    shortPing.Send(Frame(1, 1));
    EXPECT_EQ(CLowscanModel::PacketLength(1024) / 2, shortPing.Reply().size());
}

TEST(LowscanModel, SpiRequests)
{
    Rig_T spi("/dev/LSfpga0 lowscan-spi flash=2.3 adc=0x010203,0x040506,0x070809");
    spi.Send({3, 0, 0, 0xFF, 0xFF});
    EXPECT_EQ(Bytes({0, 0, 2, 3}), spi.Reply());
    Bytes adc(10, 0);
    adc[0] = 5;
    spi.Send(adc);
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9}), spi.Reply());
    Bytes block(85, 0);
    block[0] = 4;
    const uint8_t gain[6] = {0, 34, 0, 0, 0x01, 0x40};
    std::copy(gain, gain + 6, block.begin() + 1 + 24);
    spi.Send(block);
    EXPECT_EQ(0x140u, static_cast<CLowscanModel&>(*spi.model).Register(34));

    Bytes pingData(CLowscanModel::PacketLength(256) + 1, 0);
    pingData[0] = 0x10;
    spi.Send(pingData);
    EXPECT_EQ(Bytes(pingData.size() - 1, 0), spi.Reply());
    EXPECT_TRUE(Has(spi.trace.Text(), "before any ping"));
    spi.Send({1});
    EXPECT_EQ(1, spi.model->Ioctl(CSpiPacketModel::c_WaitInterrupt, nullptr));
    spi.Send(pingData);
    const Bytes packet = spi.Reply();
    ASSERT_EQ(pingData.size() - 1, packet.size());
    EXPECT_GT(packet[2], 200);
}

TEST(FpgaSetup, OptionsTable)
{
    // The echo shape of each accepted line: seed, depth in cm, echo, noise, ring-down; later options win.
    const struct
    {
        const char* line;
        std::vector<unsigned int> shape;
    } good[] = {
        {"/dev/LSfpga0 cor", {1, 1200, 200, 16, 100}},
        {"/dev/LSfpga0 cor seed=9 depth=25", {9, 2500, 200, 16, 100}},
        {"/dev/LSfpga0 cor depth=11.9 echo=0 noise=0 ringdown=1", {1, 1190, 0, 0, 1}},
        {"/dev/LSfpga0 cor depth=0.05 echo=255 noise=256 ringdown=1000", {1, 5, 255, 256, 1000}},
        {"/dev/LSfpga0 cor depth=1000 seed=0x10 depth=012.34 seed=4294967295", {4294967295u, 1234, 200, 16, 100}},
    };
    for (const auto& c : good)
    {
        FpgaSetup_T setup;
        std::string error;
        ASSERT_TRUE(FpgaSetup_T::Parse(c.line, setup, error)) << c.line << ": " << error;
        const CEchoSimulator::Shape_T& e = setup.echo;
        EXPECT_EQ(c.shape, std::vector<unsigned int>({e.seed, e.depthCentimetres, e.echo, e.noise, e.ringdown}))
            << c.line;
    }
    const char* bad[] = {"dev/LSfpga0 cor",
                         "/dev/LSfpga0 skd",
                         "/dev/LSfpga0 cor fault=melted",
                         "/dev/LSfpga0 cor seed",
                         "/dev/LSfpga0 cor seed=4294967296",
                         "/dev/LSfpga0 cor flash=3",
                         "/dev/LSfpga0 cor adc=1,2",
                         "/dev/ttyO1 lowscan-uart channel=2",
                         "/dev/LSfpga0 cor colour=red",
                         "/dev/LSfpga0 cor depth=1000.01",
                         "/dev/LSfpga0 cor depth=12.345",
                         "/dev/LSfpga0 cor depth=12.",
                         "/dev/LSfpga0 cor depth=.5",
                         "/dev/LSfpga0 cor depth=-1",
                         "/dev/LSfpga0 cor depth=1e2",
                         "/dev/LSfpga0 cor depth=0x10",
                         "/dev/LSfpga0 cor echo=256",
                         "/dev/LSfpga0 cor noise=257",
                         "/dev/LSfpga0 cor ringdown=0",
                         "/dev/LSfpga0 cor ringdown=1001",
                         "/dev/LSfpga0 cor echo="};
    for (const char* line : bad)
    {
        FpgaSetup_T setup;
        std::string error;
        EXPECT_FALSE(FpgaSetup_T::Parse(line, setup, error)) << line;
        EXPECT_FALSE(error.empty());
    }
    FpgaSetup_T setup;
    std::string error;
    ASSERT_TRUE(FpgaSetup_T::Parse("/dev/LSfpga1 cor flash=4.1 follow=/dev/LSfpga0 fault=no-reply", setup, error));
    EXPECT_EQ(4, setup.flashMajor);
    EXPECT_EQ("/dev/LSfpga0", setup.follow);
    EXPECT_TRUE(setup.Fault("no-reply"));
}

// Without noise a ping is the bang and the bottom alone: each shape option
// moves exactly its own part of the record.
TEST(EchoSimulator, ShapeOptionsMoveTheirOwnPartOfThePing)
{
    CEchoSimulator::Shape_T quiet;
    quiet.noise = 0;
    quiet.echo = 100;
    quiet.ringdown = 200;           // 1024 x 200 / 6400 = 32 samples of bang
    quiet.depthCentimetres = 5005;  // sample 512 of 1024
    Bytes expected(1024, 0);
    for (unsigned int i = 0; i < 32; ++i)
        expected[i] = static_cast<uint8_t>(240 - i * 5);
    for (unsigned int d : {0u, 1u, 2u, 3u})
        expected[512 - d] = expected[512 + d] = static_cast<uint8_t>(100 - d * 20);
    EXPECT_EQ(expected, CEchoSimulator(quiet).Ping(1024, 3));
    EXPECT_EQ(512u, CEchoSimulator(quiet).BottomIndex(1024));

    // A strong echo is clipped; a short ring-down keeps four samples of bang.
    quiet.echo = 255;
    quiet.ringdown = 1;
    const Bytes strong = CEchoSimulator(quiet).Ping(64, 0);
    EXPECT_EQ(Bytes({240, 200, 160, 120, 0}), Bytes(strong.begin(), strong.begin() + 5));
    EXPECT_EQ(Bytes({102, 153, 204, 255, 204, 153, 102}), Bytes(strong.begin() + 29, strong.begin() + 36));

    // Noise stays below its level, fills it, and follows the seed and the ping.
    CEchoSimulator::Shape_T noisy;
    noisy.noise = 9;
    noisy.echo = 0;
    const Bytes a = CEchoSimulator(noisy).Ping(4096, 0);
    const Bytes tail(a.begin() + 100, a.end());
    EXPECT_EQ(8, *std::max_element(tail.begin(), tail.end()));
    EXPECT_EQ(0, *std::min_element(tail.begin(), tail.end()));
    EXPECT_NE(a, CEchoSimulator(noisy).Ping(4096, 1));
    noisy.seed = 2;
    EXPECT_NE(a, CEchoSimulator(noisy).Ping(4096, 0));
    noisy.seed = 1;
    EXPECT_EQ(a, CEchoSimulator(noisy).Ping(4096, 0));
}
