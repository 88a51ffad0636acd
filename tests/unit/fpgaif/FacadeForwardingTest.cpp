#include "FPGAIFCorSPI.h"
#include "FPGAIFLSSPI.h"
#include "FPGAIFLumetSPI.h"
#include "FacadeRig.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>

namespace
{
const std::string c_Channel0Device = "/dev/LSfpga0";
const std::string c_Channel1Device = "/dev/LSfpga1";

// A unit of one identity and its facade; QL6M on element 1, so channel 0.
struct CUnit
{
    explicit CUnit(const char* ProductId)
    {
        PutUnit(Factory, ProductId, c_Channel0Device.c_str(), c_Channel1Device.c_str());
        Facade.reset(new CFPGAIF(&Factory, 1));
    }
    size_t Traffic()
    {
        size_t Count = 0;
        for (const auto& Path : Factory.m_Devices)
        {
            const CFakeDevice& Device = *Path.second;
            Count += Device.m_Writes.size() + Device.m_Ioctls.size() + Device.m_Polls.size();
            Count += Device.m_ReadSizes.size();
        }
        return Count;
    }
    CFakeFactory Factory;
    std::unique_ptr<CFPGAIF> Facade;
};

template <typename Transport_T>
struct DirectCase_T
{
    const char* ProductId;
    const char* What;
    std::function<TSQEventCode_T(CFPGAIF&)> ThroughFacade;
    std::function<TSQEventCode_T(Transport_T&)> Direct;  // null: the FPGA must not hear of it
};

// Through the facade the FPGA must get exactly what the transport's own call
// sends, once the queue goes out too.
template <typename Transport_T, typename... Args_T>
void ExpectSameWire(const std::vector<DirectCase_T<Transport_T>>& Cases, Args_T... TransportArguments)
{
    for (const auto& Case : Cases)
    {
        SCOPED_TRACE(std::string(Case.ProductId) + " " + Case.What);
        CUnit Unit(Case.ProductId);
        CRig<Transport_T> Direct(TransportArguments..., c_Channel0Device);
        EXPECT_EQ(Case.Direct ? Case.Direct(Direct.Transport) : 0, Case.ThroughFacade(*Unit.Facade));
        EXPECT_EQ(Direct.Transport.UpdateFPGA(), Unit.Facade->UpdateFPGA());
        EXPECT_EQ(Direct.Device.m_Writes, Unit.Factory.Device(c_Channel0Device).m_Writes);
    }
}

const FpgaChnlFltByte_T c_Filter = {0x35};
const CorrelationFilterCoefficients_T c_Correlation(8, {0, 1137});
}

TEST(FacadeForwardingTest, AnOperationTheUnitLacksAnswersWithoutReachingTheDevice)
{
    LSADCReadings_T Readings;
    bFpgaStatusByte CorStatus;
    UINT8 Storage[512 + 64];
    Buffer_Bytes_T Samples(Storage, 512), Values(Storage + 512, 64);
    const struct
    {
        const char* ProductId;
        const char* What;
        std::function<TSQEventCode_T(CFPGAIF&)> Call;
        TSQEventCode_T Expected;
        bool bUntouched;
    } Cases[] = {
        {"N41001", "ADC readings", [&](CFPGAIF& F) { return F.GetADCReadings(&Readings); }, -174, true},
        {"N41001", "boost", [](CFPGAIF& F) { return F.SetBoostLevel(3); }, 0, true},
        {"N41001", "Lumet ping", [&](CFPGAIF& F) { return F.GetPing(1, &Samples, 0); }, 0, true},
        {"Nx", "flush", [](CFPGAIF& F) { return F.Flush(1); }, 0, true},
        {"Nx", "ADC readings, no reply", [&](CFPGAIF& F) { return F.GetADCReadings(&Readings); }, -171, false},
        {"Nx", "wait",
         [](CFPGAIF& F) {
             F.WaitForData();
             return 0;
         },
         0, false},
        {"N41005", "ADC readings", [&](CFPGAIF& F) { return F.GetADCReadings(&Readings); }, -174, true},
        {"N41005", "Lowscan ping", [](CFPGAIF& F) { return F.PingNow(); }, 0, true},
        {"N41005", "Lowscan ping read", [&](CFPGAIF& F) { return F.GetPing(0, &Samples, &Values); }, 0, true},
        {"N41005", "busy",
         [](CFPGAIF& F) { return F.SetBusy() == 0 && F.IsSpiBusy() && F.SetFree() == 0 && !F.IsSpiBusy() ? 0 : 1; }, 0,
         true},
        {"N41013", "ADC readings", [&](CFPGAIF& F) { return F.GetADCReadings(&Readings); }, -174, true},
        {"N41013", "Cor status", [&](CFPGAIF& F) { return F.GetStatusRegister(&CorStatus); }, 0, true},
        {"N41013", "busy", [](CFPGAIF& F) { return F.SetBusy() == 0 && !F.IsSpiBusy() ? 0 : 1; }, 0, true},
    };
    for (const auto& Case : Cases)
    {
        SCOPED_TRACE(std::string(Case.ProductId) + " " + Case.What);
        CUnit Unit(Case.ProductId);
        const size_t Before = Unit.Traffic();
        EXPECT_EQ(Case.Expected, Case.Call(*Unit.Facade));
        Unit.Facade->UpdateFPGA();  // anything wrongly queued would go out now
        EXPECT_EQ(Case.bUntouched, Before == Unit.Traffic());
    }
}

// A unit whose product has no FPGA interface (an HZ display): every
// operation answers -177 and nothing reaches a device.
TEST(FacadeForwardingTest, EveryOperationWithoutAnInterfaceAnswersMinus177)
{
    SWVersion_T Version;
    LSADCReadings_T Readings;
    bFpgaStatusByte CorStatus;
    bLumetStatusByte LumetStatus;
    FPGASpeedReading_T Speed;
    unsigned int Value = 0;
    unsigned char Byte = 0;
    UINT8 Storage[64];
    Buffer_Bytes_T Data(Storage, 32), Second(Storage + 32, 32);
    const unsigned int Frequency = 150;
    const std::vector<std::function<TSQEventCode_T(CFPGAIF&)>> Calls = {
        [](CFPGAIF& F) { return F.Flush(1); },
        [](CFPGAIF& F) { return F.GetErrorCode(); },
        [&](CFPGAIF& F) { return F.GetVersion(&Version); },
        [&](CFPGAIF& F) { return F.GetADCReadings(&Readings); },
        [](CFPGAIF& F) { return F.PingNow(); },
        [](CFPGAIF& F) { return F.PingNow(bLumetCommandByte{1}); },
        [](CFPGAIF& F) { return F.PingNow(bFpgaCommandByte{1}); },
        [&](CFPGAIF& F) { return F.GetPing(0, &Data, &Second); },
        [&](CFPGAIF& F) { return F.GetPing(0, &Data, 0); },
        [&](CFPGAIF& F) { return F.GetPing(&Data); },
        [](CFPGAIF& F) { return F.setUpForPing(LSFpgaCompleteConfigure_T()); },
        [&](CFPGAIF& F) { return F.GetTransducerData(&Byte); },
        [](CFPGAIF& F) { return F.SetTransducerData(3); },
        [&](CFPGAIF& F) { return F.GetStatusRegister(&CorStatus); },
        [&](CFPGAIF& F) { return F.GetStatusRegister(&LumetStatus); },
        [](CFPGAIF& F) { return F.SetCommandRegister(bFpgaCommandByte{2}); },
        [](CFPGAIF& F) { return F.SetCommandRegister(bLumetCommandByte{2}); },
        [](CFPGAIF& F) { return F.SetChannelFilterRegister(&c_Filter); },
        [](CFPGAIF& F) { return F.SetFilterSelectionRegister(2); },
        [](CFPGAIF& F) { return F.SetADCFrequencyRegister(eFpgaAdcFrequencyCode2); },
        [](CFPGAIF& F) { return F.SetNumberOfSamplesToReceive(512, 0); },
        [](CFPGAIF& F) { return F.SetSteppedAnalogueGain(5, 0); },
        [](CFPGAIF& F) { return F.SetBoostLevel(3); },
        [](CFPGAIF& F) {
            return F.SetChirpTable({{0x10, 0x200}});
        },
        [](CFPGAIF& F) {
            return F.SetTVGTable({{10, 20}});
        },
        [](CFPGAIF& F) { return F.SetBasebandFilterSubSample(8); },
        [](CFPGAIF& F) { return F.SetBaseBandFilterSelection(1); },
        [&](CFPGAIF& F) { return F.SetBaseBandFilterCentreFreq(Frequency, 0); },
        [](CFPGAIF& F) { return F.SetBaseBandFilterScalingReg(3); },
        [](CFPGAIF& F) { return F.SetCorrelationFilter(c_Correlation, 0); },
        [](CFPGAIF& F) { return F.SetCorralationDownShift(2, 0); },
        [](CFPGAIF& F) { return F.SetCorralationScaling(1, 0); },
        [](CFPGAIF& F) { return F.UpdateFPGA(); },
        [&](CFPGAIF& F) { return F.GetSpeedReading(&Speed); },
        [](CFPGAIF& F) { return F.HasPingDataTransferCompleted(); },
        [&](CFPGAIF& F) { return F.TestFPGAAccess(&Data, 2, true, false); },
        [](CFPGAIF& F) { return F.SetFree(); },
        [](CFPGAIF& F) { return F.SetBusy(); },
        [](CFPGAIF& F) { return F.SetSyncRegister(bFpgaPSUSyncRegister()); },
        [](CFPGAIF& F) { return F.SetSubSampleRate(4u, 0); },
        [](CFPGAIF& F) { return F.SetSubSampleRate(static_cast<unsigned char>(4)); },
        [](CFPGAIF& F) { return F.SetStartFreq(1000, 0); },
        [](CFPGAIF& F) { return F.SetChirpIncrement(7, 0); },
        [](CFPGAIF& F) { return F.SetBurstLength(9, 0); },
        [](CFPGAIF& F) { return F.SetFifoCntrlRegister(bCorFifoCntrlByte{2}, 0); },
        [](CFPGAIF& F) { return F.SetWifiLEDRegister(FpgaWifiLEDRegister_T()); },
        [](CFPGAIF& F) { return F.SetOutputDataToLog(); },
        [](CFPGAIF& F) { return F.SetSubSampleMode(eFpgaSubSampleMode2); },
        [](CFPGAIF& F) { return F.SetSubSampleThreshold(300); },
        [&](CFPGAIF& F) { return F.GetADCReference(&Value); },
        [&](CFPGAIF& F) { return F.GetSenseResistor(&Value); },
        [&](CFPGAIF& F) { return F.GetWaterTemp(&Value); },
    };
    CUnit Unit("N41008");
    for (size_t i = 0; i < Calls.size(); ++i)
        EXPECT_EQ(-177, Calls[i](*Unit.Facade)) << "operation " << i;
    EXPECT_FALSE(Unit.Facade->IsSpiBusy());
    Unit.Facade->WaitForData();
    EXPECT_EQ(0u, Unit.Traffic());
}

TEST(FacadeForwardingTest, CorRegistersArriveAsTheTransportSendsThem)
{
    typedef CFPGAIFCorSpi Cor_T;
    const std::vector<DirectCase_T<Cor_T>> Cases = {
        {"N41005", "channel filter", [](CFPGAIF& F) { return F.SetChannelFilterRegister(&c_Filter); },
         [](Cor_T& D) { return D.SetChannelFilterRegister(&c_Filter); }},
        {"N41006", "channel filter", [](CFPGAIF& F) { return F.SetChannelFilterRegister(&c_Filter); },
         [](Cor_T& D) { return D.SetChannelFilterRegister(&c_Filter); }},
        {"N41007", "channel filter", [](CFPGAIF& F) { return F.SetChannelFilterRegister(&c_Filter); }, nullptr},
        {"N41005", "band", [](CFPGAIF& F) { return F.SetFilterSelectionRegister(2); }, nullptr},
        {"N41006", "band", [](CFPGAIF& F) { return F.SetFilterSelectionRegister(2); }, nullptr},
        {"N41007", "band", [](CFPGAIF& F) { return F.SetFilterSelectionRegister(2); },
         [](Cor_T& D) { return D.SetFilterSelectionRegister(PingConfigRxBand_MF); }},
        {"N41005", "centre frequency over 16 bits",
         [](CFPGAIF& F) { return F.SetBaseBandFilterCentreFreq(0x1ABCD, 255); },
         [](Cor_T& D) { return D.SetBaseBandFilterCentreFreq(0xABCD); }},
        {"N41006", "centre frequency of 16 bits", [](CFPGAIF& F) { return F.SetBaseBandFilterCentreFreq(65535, 0); },
         [](Cor_T& D) { return D.SetBaseBandFilterCentreFreq(65535); }},
        {"N41005", "samples", [](CFPGAIF& F) { return F.SetNumberOfSamplesToReceive(4096, 1); },
         [](Cor_T& D) { return D.SetNumberOfSamplesToReceive(4096); }},
        {"N41005", "8-bit sub-sample rate", [](CFPGAIF& F) { return F.SetSubSampleRate(UINT8(3)); },
         [](Cor_T& D) { return D.SetSubSampleRate(3); }},
        {"N41005", "Lumet sub-sample rate", [](CFPGAIF& F) { return F.SetSubSampleRate(3u, 0); }, nullptr},
        {"N41005", "sync", [](CFPGAIF& F) { return F.SetSyncRegister({0x5A}); },
         [](Cor_T& D) { return D.SetSyncRegister({0x5A}); }},
    };
    ExpectSameWire(Cases, true);
}

TEST(FacadeForwardingTest, LumetRegistersArriveAsTheTransportSendsThem)
{
    typedef CFPGAIFLumetSPI Lumet_T;
    const std::vector<DirectCase_T<Lumet_T>> Cases = {
        {"N41009", "centre frequency keeps 32 bits",
         [](CFPGAIF& F) { return F.SetBaseBandFilterCentreFreq(0x1ABCD, 1); },
         [](Lumet_T& D) { return D.SetBaseBandFilterCentreFreq(0x1ABCD, 1); }},
        {"N41010", "samples", [](CFPGAIF& F) { return F.SetNumberOfSamplesToReceive(4096, 1); },
         [](Lumet_T& D) { return D.SetNumberOfSamplesToReceive(4096, 1); }},
        {"N41017", "32-bit sub-sample rate", [](CFPGAIF& F) { return F.SetSubSampleRate(0x1FFu, 1); },
         [](Lumet_T& D) { return D.SetSubSampleRate(0x1FF, 1); }},
        {"N41017", "Cor sub-sample rate", [](CFPGAIF& F) { return F.SetSubSampleRate(UINT8(3)); }, nullptr},
        {"N41011", "correlation", [](CFPGAIF& F) { return F.SetCorrelationFilter(c_Correlation, 1); },
         [](Lumet_T& D) { return D.SetCorrelationFilter(c_Correlation, 1); }},
        {"N41012", "sync", [](CFPGAIF& F) { return F.SetSyncRegister({1}); }, nullptr},
        {"N41013", "channel filter", [](CFPGAIF& F) { return F.SetChannelFilterRegister(&c_Filter); }, nullptr},
    };
    ExpectSameWire(Cases);
}

TEST(FacadeForwardingTest, OnlyTheNrVariantsReachTheLumetAdcReadBacks)
{
    typedef TSQEventCode_T (CFPGAIF::*Facade_T)(unsigned int*);
    typedef TSQEventCode_T (CFPGAIFLumetSPI::*Lumet_T)(CorFPGA24BitADCValue_T*);
    const std::pair<Facade_T, Lumet_T> Getters[] = {{&CFPGAIF::GetWaterTemp, &CFPGAIFLumetSPI::GetWaterTemp},
                                                    {&CFPGAIF::GetSenseResistor, &CFPGAIFLumetSPI::GetSenseResistor},
                                                    {&CFPGAIF::GetADCReference, &CFPGAIFLumetSPI::GetADCReference}};
    const Bytes_T Answer = Reply({0x12, 0x34, 0x56});
    for (const char* ProductId :
         {"N41009", "N41010", "N41011", "N41012", "N41013", "N41014", "N41015", "N41016", "N41017", "N41018"})
    {
        const bool bNr = strcmp(ProductId, "N41016") >= 0;
        for (const auto& Getter : Getters)
        {
            SCOPED_TRACE(ProductId);
            CUnit Unit(ProductId);
            Unit.Factory.Device(c_Channel0Device).m_Replies.push_back(Answer);
            const size_t Before = Unit.Traffic();
            unsigned int Value = 0xDEADBEEF;
            const TSQEventCode_T Result = ((*Unit.Facade).*Getter.first)(&Value);

            CRig<CFPGAIFLumetSPI> Direct(c_Channel0Device);
            Direct.Device.m_Replies.push_back(Answer);
            CorFPGA24BitADCValue_T Expected = 0xDEADBEEF;
            EXPECT_EQ(bNr ? (Direct.Transport.*Getter.second)(&Expected) : -177, Result);
            EXPECT_EQ(Expected, Value);
            EXPECT_EQ(bNr, Before != Unit.Traffic());
        }
    }
}

TEST(FacadeForwardingTest, PingReadsReachTheChannelTheyName)
{
    UINT8 Storage[512 + 64] = {};
    Buffer_Bytes_T Samples(Storage, 512), Values(Storage + 512, 64);

    // UART: channel 1 answers only a ping read and a flush.
    CUnit Uart("N41002");
    CFakeDevice& Uart0 = Uart.Factory.Device(c_Channel0Device);
    CFakeDevice& Uart1 = Uart.Factory.Device(c_Channel1Device);
    Uart.Facade->GetPing(1, &Samples, &Values);
    EXPECT_TRUE(Uart0.m_Polls.empty());
    EXPECT_FALSE(Uart1.m_Polls.empty());
    SWVersion_T Version;
    EXPECT_EQ(c_TSQ_UartReceiveShortfall, Uart.Facade->GetVersion(&Version));
    EXPECT_FALSE(Uart0.m_Writes.empty());
    EXPECT_TRUE(Uart1.m_Writes.empty());
    EXPECT_EQ(c_TSQ_UartFlushFailed, Uart.Facade->Flush(1));  // not a terminal
    EXPECT_EQ(c_TSQ_UartReceiveShortfall, Uart.Facade->GetErrorCode());
    EXPECT_EQ(c_TSQ_UartFlushFailed, Uart.Facade->Flush(0));
    EXPECT_EQ(c_TSQ_UartFlushFailed, Uart.Facade->GetErrorCode());

    // Lowscan SPI: the channel goes into the request.
    CUnit Pk("Nx");
    Pk.Facade->GetPing(1, &Samples, &Values);
    const std::vector<Bytes_T>& Requests = Pk.Factory.Device(c_Channel0Device).m_Writes;
    ASSERT_EQ(1u, Requests.size());
    EXPECT_EQ(CFPGAIFLSSPI::c_RequestPingDataChannel1, Requests[0][0]);

    // Lumet: the int is the driver's interrupt mode.
    CUnit Lumet("N41016");
    CRig<CFPGAIFLumetSPI> Direct(c_Channel0Device);
    Samples.size(128);
    const TSQEventCode_T Expected = Direct.Transport.GetPing(1, &Samples, static_cast<InterruptMode_T>(3));
    EXPECT_EQ(Expected, Lumet.Facade->GetPing(1, &Samples, 3));
    const std::vector<CFakeDevice::Ioctl_T>& Calls = Lumet.Factory.Device(c_Channel0Device).m_Ioctls;
    ASSERT_EQ(Direct.Device.m_Ioctls.size(), Calls.size());
    for (size_t i = 0; i < Calls.size(); ++i)
        EXPECT_EQ(Words(Direct.Device.m_Ioctls[i].PingRead), Words(Calls[i].PingRead));
}
