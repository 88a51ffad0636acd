// CFPGAIF: the register and table operations of the Cor and Lumet FPGAs. The
// Lowscan units have none of them and answer 0.

#include "FPGAIF.h"

#include "FPGAIFCorSPI.h"
#include "FPGAIFLumetSPI.h"

TSQEventCode_T CFPGAIF::GetTransducerData(unsigned char* pData)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->GetTransducerData(pData) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetTransducerData(unsigned char Data)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetTransducerData(Data) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::GetStatusRegister(bFpgaStatusByte* pStatus)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->GetStatusRegister(pStatus) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::GetStatusRegister(bLumetStatusByte* pStatus)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->GetStatusRegister(pStatus) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bFpgaCommandByte Command)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetCommandRegister(Command) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bLumetCommandByte Command)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetCommandRegister(Command) : c_TSQ_Success;
}

// QL6M picks its band through SetFilterSelectionRegister instead.
TSQEventCode_T CFPGAIF::SetChannelFilterRegister(FpgaChnlFltByte_T const* pFilter)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfQL4KSpi || m_InterfaceType == eFpgaIfQL5KSpi)
        return m_pCorIF_SPI->SetChannelFilterRegister(pFilter);
    return c_TSQ_Success;
}

// Only the QL6M FPGA has the band selection.
TSQEventCode_T CFPGAIF::SetFilterSelectionRegister(unsigned char Band)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfQL6MSpi)
        return m_pCorIF_SPI->SetFilterSelectionRegister(static_cast<PingConfigRxBand_T>(Band));
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetADCFrequencyRegister(eFpgaAdcFrequency_T Frequency)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetADCFrequencyRegister(Frequency) : c_TSQ_Success;
}

// The Cor FPGA has one receive channel: the channel argument is Lumet's.
TSQEventCode_T CFPGAIF::SetNumberOfSamplesToReceive(unsigned int Count, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
        Result = m_pCorIF_SPI->SetNumberOfSamplesToReceive(Count);
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->SetNumberOfSamplesToReceive(Count, channel);
    return Result;
}

TSQEventCode_T CFPGAIF::SetSteppedAnalogueGain(unsigned char Value, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetSteppedAnalogueGain(Value, channel) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetBoostLevel(unsigned char Level)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
        Result = m_pCorIF_SPI->SetBoostLevel(Level);
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->SetBoostLevel(Level);
    return Result;
}

TSQEventCode_T CFPGAIF::SetChirpTable(const std::vector<ChirpTableEntry_T>& Table)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetChirpTable(Table) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetTVGTable(const std::vector<TVGTableEntry_T>& Table)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetTVGTable(Table) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetBasebandFilterSubSample(unsigned char Value)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetBaseBandFilterSubSampleReg(Value) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterSelection(unsigned char Value)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetBaseBandFilterSelectionReg(Value) : c_TSQ_Success;
}

// The Cor register takes hundreds of Hz in 16 bits: higher bits are dropped,
// not saturated. The Lumet register takes the whole word.
TSQEventCode_T CFPGAIF::SetBaseBandFilterCentreFreq(const unsigned int& Frequency, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
    {
        const unsigned short HundredsOfHz = static_cast<unsigned short>(Frequency);
        Result = m_pCorIF_SPI->SetBaseBandFilterCentreFreq(HundredsOfHz);
    }
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->SetBaseBandFilterCentreFreq(Frequency, channel);
    return Result;
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterScalingReg(unsigned char Value)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetBaseBandFilterScalingReg(Value) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetCorrelationFilter(const std::vector<CorrelationFilterCoefficientSet_T>& Table,
                                             unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
        Result = m_pCorIF_SPI->SetCorrelationFilter(Table);
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->SetCorrelationFilter(Table, channel);
    return Result;
}

TSQEventCode_T CFPGAIF::SetCorralationDownShift(unsigned char Value, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
        Result = m_pCorIF_SPI->SetCorralationDownShift(Value);
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->SetCorralationDownShift(Value, channel);
    return Result;
}

TSQEventCode_T CFPGAIF::SetCorralationScaling(unsigned char Value, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
        Result = m_pCorIF_SPI->SetCorralationScaling(Value);
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->SetCorralationScaling(Value, channel);
    return Result;
}

TSQEventCode_T CFPGAIF::UpdateFPGA()
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    TSQEventCode_T Result = c_TSQ_Success;
    if (IsCor())
        Result = m_pCorIF_SPI->UpdateFPGA();
    if (m_InterfaceType == eFpgaIfLumetSpi)
        Result = m_pLumetIF_SPI->UpdateFPGA();
    return Result;
}

TSQEventCode_T CFPGAIF::GetSpeedReading(FPGASpeedReading_T* pReading)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->GetSpeedReading(pReading) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::HasPingDataTransferCompleted()
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->HasPingDataTransferCompleted() : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::TestFPGAAccess(Buffer_Bytes_T* pData, unsigned short Address, bool bRead, bool bBlock)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->TestFPGAAccess(pData, Address, bRead, bBlock) : c_TSQ_Success;
}

bool CFPGAIF::IsSpiBusy() const
{
    return IsCor() && m_pCorIF_SPI->IsSpiBusy();
}

// The flag is the caller's bookkeeping; setting it cannot fail.
TSQEventCode_T CFPGAIF::SetFree()
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (IsCor())
        m_pCorIF_SPI->SetFree();
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetBusy()
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (IsCor())
        m_pCorIF_SPI->SetBusy();
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetSyncRegister(bFpgaPSUSyncRegister Sync)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetSyncRegister(Sync) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned int Rate, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetSubSampleRate(Rate, channel) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned char Rate)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetSubSampleRate(Rate) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetStartFreq(unsigned int Value, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetStartFreq(Value, channel) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetChirpIncrement(unsigned int Value, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetChirpIncrement(Value, channel) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetBurstLength(unsigned int Value, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetBurstLength(Value, channel) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetFifoCntrlRegister(bCorFifoCntrlByte Control, unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetFifoCntrlRegister(Control, channel) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetWifiLEDRegister(FpgaWifiLEDRegister_T Leds)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->SetWifiLEDRegister(Leds) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetOutputDataToLog()
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetOutputDataToLog() : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetSubSampleMode(FpgaSubSampleMode_T Mode)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetSubSampleMode(Mode) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::SetSubSampleThreshold(unsigned short Threshold)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->SetSubSampleThreshold(Threshold) : c_TSQ_Success;
}
