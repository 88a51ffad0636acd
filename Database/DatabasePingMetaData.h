#ifndef DATABASEPINGMETADATA_H
#define DATABASEPINGMETADATA_H

#include "OSSFactory.h"
#include "PingMetaDataTypes.h"

#include <cstddef>
#include <string>

// The settings a Lowscan FPGA is configured from, from the number of samples
// to the previous depth. Packed: other processes take the block byte for byte.
#pragma pack(push, 1)
struct LowscanCoefs_T
{
    UINT32 NumberOfSamples = 1024;
    double StartFreq = 0;  // Hz
    double EndFreq = 0;    // Hz
    UINT32 NumberOfFullCycles = 0;
    UINT32 DecimationRate = 0xFFFFFFFF;  // unset
    int32_t WorkingDepth = c_PingMetaDataDepthUnset;
    int32_t RequestedDepth = c_PingMetaDataDepthUnset;
    double DistancePerSample = 0;
    UINT32 StartSample = 0;
    double Gain = 0;
    double ColourGain = 0;
    UINT32 NumberOfSamplesToProcess = 1024;
    UINT8 CurrentGainLevelPercent = 0;
    float CurrentGainLevel = 0;
    UINT8 CurrentColourGainLevelPercent = 0;
    float CurrentColourGainLevel = 0;
    UINT8 CurrentClutterLevelPercent = 0;
    float CurrentClutterLevel = 0;
    UINT8 CurrentBandwidthPercent = 0;
    float CurrentBurstLengthValueInSec = 0;
    UINT8 CalculatedSteppedAnalogueGain = 0;
    UINT8 CalculatedBoostLevel = 0;
    UINT8 CurrentBurstLengthAsPercent = 0;
    UINT32 NumberOfSamplesToDisplay = 1024;
    UINT32 SampleDelay = 0;
    float CorrectionFactor = 0;
    float BurstLengthCorrectionFactor = 0;
    float SteppedGainCorrectionFactor = 0;
    int32_t PreviousDepth = c_PingMetaDataDepthUnset;
};
#pragma pack(pop)
static_assert(sizeof(LowscanCoefs_T) == 115, "LowscanCoefs_T must have no padding");

// Everything known about one ping of one sonar channel. The scalar settings
// are kept in a text file that other processes read; the record itself can
// only be written, never read back.
class CDatabasePingMetaData
{
public:
    // Creates the record's file with the defaults unless it already exists.
    CDatabasePingMetaData(IOSSFactory* pFactory, size_t index);

    TSQEventCode_T writeDB();
    TSQEventCode_T readDB();

    size_t MessageSize_Bytes() const;
    TSQEventCode_T GetErrorCode() const { return m_ErrorCode; }
    const std::string& GetDBFilePath() const { return m_DatabaseFilePath; }

    // The packed settings from the number of samples on.
    LowscanCoefs_T* GetLowscanCoefs() { return &m_Coefs; }

    void SetActive(bool Value) { m_Active = Value; }
    bool GetActive() const { return m_Active; }
    void SetRawPingDataState(UINT8 Value) { m_RawPingDataState = Value; }
    UINT8 GetRawPingDataState() const { return m_RawPingDataState; }
    void SetChannel(UINT8 Value) { m_Channel = Value; }
    UINT8 GetChannel() const { return m_Channel; }

    void SetNumberOfSamples(UINT32 Value) { m_Coefs.NumberOfSamples = Value; }
    UINT32 GetNumberOfSamples() const { return m_Coefs.NumberOfSamples; }
    void SetStartFreq(double Value) { m_Coefs.StartFreq = Value; }
    double GetStartFreq() const { return m_Coefs.StartFreq; }
    void SetEndFreq(double Value) { m_Coefs.EndFreq = Value; }
    double GetEndFreq() const { return m_Coefs.EndFreq; }
    void SetNumberOfFullCycles(UINT32 Value) { m_Coefs.NumberOfFullCycles = Value; }
    UINT32 GetNumberOfFullCycles() const { return m_Coefs.NumberOfFullCycles; }
    void SetDecimationRate(UINT32 Value) { m_Coefs.DecimationRate = Value; }
    UINT32 GetDecimationRate() const { return m_Coefs.DecimationRate; }
    void SetWorkingDepth(int32_t Value) { m_Coefs.WorkingDepth = Value; }
    int32_t GetWorkingDepth() const { return m_Coefs.WorkingDepth; }
    void SetRequestedDepth(int32_t Value) { m_Coefs.RequestedDepth = Value; }
    int32_t GetRequestedDepth() const { return m_Coefs.RequestedDepth; }
    void SetDistancePerSample(double Value) { m_Coefs.DistancePerSample = Value; }
    double GetDistancePerSample() const { return m_Coefs.DistancePerSample; }
    void SetStartSample(UINT32 Value) { m_Coefs.StartSample = Value; }
    UINT32 GetStartSample() const { return m_Coefs.StartSample; }
    void SetGain(double Value) { m_Coefs.Gain = Value; }
    double GetGain() const { return m_Coefs.Gain; }
    void SetColourGain(double Value) { m_Coefs.ColourGain = Value; }
    double GetColourGain() const { return m_Coefs.ColourGain; }
    void SetNumberOfSamplesToProcess(UINT32 Value) { m_Coefs.NumberOfSamplesToProcess = Value; }
    UINT32 GetNumberOfSamplesToProcess() const { return m_Coefs.NumberOfSamplesToProcess; }

    // The three levels have no getter on purpose: only the file shows them.
    void SetCurrentGainLevelPercentage(UINT8 Value) { m_Coefs.CurrentGainLevelPercent = Value; }
    UINT8 GetCurrentGainLevelPercent() const { return m_Coefs.CurrentGainLevelPercent; }
    void SetCurrentGainLevel(float Value) { m_Coefs.CurrentGainLevel = Value; }
    void SetCurrentColourGainLevelPercentage(UINT8 Value) { m_Coefs.CurrentColourGainLevelPercent = Value; }
    UINT8 GetCurrentColourGainLevelPercent() const { return m_Coefs.CurrentColourGainLevelPercent; }
    void SetCurrentColourGainLevel(float Value) { m_Coefs.CurrentColourGainLevel = Value; }
    void SetCurrentClutterLevelPercentage(UINT8 Value) { m_Coefs.CurrentClutterLevelPercent = Value; }
    UINT8 GetCurrentClutterLevelPercent() const { return m_Coefs.CurrentClutterLevelPercent; }
    void SetCurrentClutterLevel(float Value) { m_Coefs.CurrentClutterLevel = Value; }

    void SetCurrentBandwidthPercent(UINT8 Value) { m_Coefs.CurrentBandwidthPercent = Value; }
    UINT8 GetCurrentBandwidthPercent() const { return m_Coefs.CurrentBandwidthPercent; }
    void SetCurrentBurstLengthValueInSec(float Value) { m_Coefs.CurrentBurstLengthValueInSec = Value; }
    float GetCurrentBurstLengthValueInSec() const { return m_Coefs.CurrentBurstLengthValueInSec; }
    void SetCalculatedSteppedAnalogueGain(UINT8 Value) { m_Coefs.CalculatedSteppedAnalogueGain = Value; }
    UINT8 GetCalculatedSteppedAnalogueGain() const { return m_Coefs.CalculatedSteppedAnalogueGain; }
    void SetCalculatedBoostLevel(UINT8 Value) { m_Coefs.CalculatedBoostLevel = Value; }
    UINT8 GetCalculatedBoostLevel() const { return m_Coefs.CalculatedBoostLevel; }
    void SetCurrentBurstLengthAsPercent(UINT8 Value) { m_Coefs.CurrentBurstLengthAsPercent = Value; }
    UINT8 GetCurrentBurstLengthAsPercent() const { return m_Coefs.CurrentBurstLengthAsPercent; }
    void SetNumberOfSamplesToDisplay(UINT32 Value) { m_Coefs.NumberOfSamplesToDisplay = Value; }
    UINT32 GetNumberOfSamplesToDisplay() const { return m_Coefs.NumberOfSamplesToDisplay; }
    void SetSampleDelay(UINT32 Value) { m_Coefs.SampleDelay = Value; }
    UINT32 GetSampleDelay() const { return m_Coefs.SampleDelay; }
    void SetCorrectionFactor(float Value) { m_Coefs.CorrectionFactor = Value; }
    float GetCorrectionFactor() const { return m_Coefs.CorrectionFactor; }
    void SetBurstLengthCorrectionFactor(float Value) { m_Coefs.BurstLengthCorrectionFactor = Value; }
    float GetBurstLengthCorrectionFactor() const { return m_Coefs.BurstLengthCorrectionFactor; }
    void SetSteppedGainCorrectionFactor(float Value) { m_Coefs.SteppedGainCorrectionFactor = Value; }
    float GetSteppedGainCorrectionFactor() const { return m_Coefs.SteppedGainCorrectionFactor; }
    void SetPreviousDepth(int32_t Value) { m_Coefs.PreviousDepth = Value; }
    int32_t GetPreviousDepth() const { return m_Coefs.PreviousDepth; }

    void SetLowscanInterface(CFPGAIF* pInterface) { m_pLowscanInterface = pInterface; }
    CFPGAIF* GetLowscanInterface() const { return m_pLowscanInterface; }
    void SetPingParams(const Sonar4PingParameters_T& Params) { m_PingParams = Params; }
    const Sonar4PingParameters_T& GetPingParams() const { return m_PingParams; }
    void SetPingStatistics(CDatabaseQL1APingStatistics* pStatistics) { m_pPingStatistics = pStatistics; }
    CDatabaseQL1APingStatistics* GetPingStatistics() const { return m_pPingStatistics; }

    UINT32* GetRawPingDataPtr() { return m_RawPingData; }
    UINT8* GetProcessedPingDataPtr() { return m_ProcessedPingData; }

private:
    static const size_t c_NumberOfSamples = 1024;

    IOSSFactory* m_pFactory;

    // From here to the end of the processed data: the record's message.
    bool m_Active = false;
    UINT8 m_RawPingDataState = 0;
    UINT8 m_Channel = c_PingMetaDataNoChannel;
    LowscanCoefs_T m_Coefs;
    CFPGAIF* m_pLowscanInterface = nullptr;
    Sonar4PingParameters_T m_PingParams = {};
    CDatabaseQL1APingStatistics* m_pPingStatistics = nullptr;
    UINT32 m_RawPingData[c_NumberOfSamples] = {};
    UINT8 m_ProcessedPingData[c_NumberOfSamples] = {};

    std::string m_DatabaseFilePath;
    TSQEventCode_T m_ErrorCode = c_TSQ_Success;
};

#endif
