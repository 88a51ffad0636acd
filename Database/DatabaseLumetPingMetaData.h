#ifndef DATABASELUMETPINGMETADATA_H
#define DATABASELUMETPINGMETADATA_H

#include "CorFpgaTypes.h"
#include "OSSFactory.h"
#include "PingMetaDataTypes.h"

#include <cstddef>
#include <string>

// A Lumet channel's correlation filter: the coefficient table and the two
// settings the FPGA applies to its output.
struct CorrelationFilterSettings_T
{
    CorrelationFilterCoefficients_T Coefficients;
    UINT8 Scaling = 0;
    UINT8 DownShift = 0;
    // Unused. The record's message size counts this record as 32 bytes on
    // the unit; these bytes keep it there.
    UINT8 Spare[18] = {};
};

#pragma pack(push, 1)
// The settings between the channel and the correlation filter.
struct LumetSamplingSettings_T
{
    UINT32 NumberOfSamples = 2048;
    UINT8 CalculatedSteppedAnalogueGain = 0;
    UINT32 BasebandCentreFreq = 0;
};

// The settings after the correlation filter, up to the previous depth.
struct LumetPingSettings_T
{
    UINT32 SubSampleRate = 0;
    UINT16 StartFreq = 0xFFFF;  // unset
    UINT16 EndFreq = 0xFFFF;    // unset
    UINT32 ChirpStartFreq = 0;
    UINT32 ChirpEndFreq = 0;
    UINT32 ChirpIncrement = 0;
    UINT32 BurstLengthInFullCycles = 0;
    int32_t WorkingDepth = c_PingMetaDataDepthUnset;
    int32_t RequestedDepth = c_PingMetaDataDepthUnset;
    double DistancePerSample = 0;
    UINT32 StartSample = 0;
    UINT32 NumberOfSamplesToProcess = 2048;
    UINT8 CurrentGainLevelPercent = 0;
    float CurrentGainLevel = 0;
    UINT8 CurrentColourGainLevelPercent = 0;
    float CurrentColourGainLevel = 0;
    UINT8 CurrentClutterLevelPercent = 0;
    float CurrentClutterLevel = 0;
    UINT8 CurrentBandwidthPercent = 0;
    float CurrentBurstLengthValueInSec = 0;
    UINT8 CalculatedBoostLevel = 0;
    UINT8 CurrentBurstLengthAsPercent = 0;
    UINT32 NumberOfSamplesToDisplay = 2048;
    UINT32 SampleDelay = 0;
    float CorrectionFactor = 0;
    float BurstLengthCorrectionFactor = 0;
    float SteppedGainCorrectionFactor = 0;
    int32_t PreviousDepth = c_PingMetaDataDepthUnset;
};
#pragma pack(pop)
static_assert(sizeof(LumetSamplingSettings_T) == 9, "LumetSamplingSettings_T must have no padding");
static_assert(sizeof(LumetPingSettings_T) == 94, "LumetPingSettings_T must have no padding");

// The ping metadata record of the Lumet sonar: a chirped, baseband-sampled
// ping with a correlation filter. Same file and write rules as
// CDatabasePingMetaData, whose file name it shares for the same index.
class CDatabaseLumetPingMetaData
{
public:
    // Creates the record's file with the defaults unless it already exists.
    CDatabaseLumetPingMetaData(IOSSFactory* pFactory, size_t index);

    TSQEventCode_T writeDB();
    TSQEventCode_T readDB();

    size_t MessageSize_Bytes() const;
    TSQEventCode_T GetErrorCode() const { return m_ErrorCode; }
    const std::string& GetDBFilePath() const { return m_DatabaseFilePath; }

    // The settings from the number of samples on. The correlation filter keeps
    // its own alignment inside them, so no packed type describes the block.
    void* GetLumetCoefs() { return &m_Sampling; }

    void SetActive(bool Value) { m_Active = Value; }
    bool GetActive() const { return m_Active; }
    void SetRawPingDataState(UINT8 Value) { m_RawPingDataState = Value; }
    UINT8 GetRawPingDataState() const { return m_RawPingDataState; }
    void SetChannel(UINT8 Value) { m_Channel = Value; }
    UINT8 GetChannel() const { return m_Channel; }

    void SetNumberOfSamples(UINT32 Value) { m_Sampling.NumberOfSamples = Value; }
    UINT32 GetNumberOfSamples() const { return m_Sampling.NumberOfSamples; }
    void SetCalculatedSteppedAnalogueGain(UINT8 Value) { m_Sampling.CalculatedSteppedAnalogueGain = Value; }
    UINT8 GetCalculatedSteppedAnalogueGain() const { return m_Sampling.CalculatedSteppedAnalogueGain; }
    void SetBasebandCentreFreq(UINT32 Value) { m_Sampling.BasebandCentreFreq = Value; }
    UINT32 GetBasebandCentreFreq() const { return m_Sampling.BasebandCentreFreq; }

    void SetCorrelationTable(const CorrelationFilterSettings_T& Table) { m_CorrelationTable = Table; }
    const CorrelationFilterSettings_T& GetCorrelationTable() const { return m_CorrelationTable; }

    void SetSubSampleRate(UINT32 Value) { m_Settings.SubSampleRate = Value; }
    UINT32 GetSubSampleRate() const { return m_Settings.SubSampleRate; }
    void SetStartFreq(UINT16 Value) { m_Settings.StartFreq = Value; }
    UINT16 GetStartFreq() const { return m_Settings.StartFreq; }
    void SetEndFreq(UINT16 Value) { m_Settings.EndFreq = Value; }
    UINT16 GetEndFreq() const { return m_Settings.EndFreq; }
    void SetChirpStartFreq(UINT32 Value) { m_Settings.ChirpStartFreq = Value; }
    UINT32 GetChirpStartFreq() const { return m_Settings.ChirpStartFreq; }
    void SetChirpEndFreq(UINT32 Value) { m_Settings.ChirpEndFreq = Value; }
    UINT32 GetChirpEndFreq() const { return m_Settings.ChirpEndFreq; }
    void SetChirpIncrement(UINT32 Value) { m_Settings.ChirpIncrement = Value; }
    UINT32 GetChirpIncrement() const { return m_Settings.ChirpIncrement; }
    void SetBurstLengthInFullCycles(UINT32 Value) { m_Settings.BurstLengthInFullCycles = Value; }
    UINT32 GetBurstLengthInFullCycles() const { return m_Settings.BurstLengthInFullCycles; }
    void SetWorkingDepth(int32_t Value) { m_Settings.WorkingDepth = Value; }
    int32_t GetWorkingDepth() const { return m_Settings.WorkingDepth; }
    void SetRequestedDepth(int32_t Value) { m_Settings.RequestedDepth = Value; }
    int32_t GetRequestedDepth() const { return m_Settings.RequestedDepth; }
    void SetDistancePerSample(double Value) { m_Settings.DistancePerSample = Value; }
    double GetDistancePerSample() const { return m_Settings.DistancePerSample; }
    void SetStartSample(UINT32 Value) { m_Settings.StartSample = Value; }
    UINT32 GetStartSample() const { return m_Settings.StartSample; }
    void SetNumberOfSamplesToProcess(UINT32 Value) { m_Settings.NumberOfSamplesToProcess = Value; }
    UINT32 GetNumberOfSamplesToProcess() const { return m_Settings.NumberOfSamplesToProcess; }

    // The three levels have no getter on purpose: only the file shows them.
    void SetCurrentGainLevelPercentage(UINT8 Value) { m_Settings.CurrentGainLevelPercent = Value; }
    UINT8 GetCurrentGainLevelPercent() const { return m_Settings.CurrentGainLevelPercent; }
    void SetCurrentGainLevel(float Value) { m_Settings.CurrentGainLevel = Value; }
    void SetCurrentColourGainLevelPercentage(UINT8 Value) { m_Settings.CurrentColourGainLevelPercent = Value; }
    UINT8 GetCurrentColourGainLevelPercent() const { return m_Settings.CurrentColourGainLevelPercent; }
    void SetCurrentColourGainLevel(float Value) { m_Settings.CurrentColourGainLevel = Value; }
    void SetCurrentClutterLevelPercentage(UINT8 Value) { m_Settings.CurrentClutterLevelPercent = Value; }
    UINT8 GetCurrentClutterLevelPercent() const { return m_Settings.CurrentClutterLevelPercent; }
    void SetCurrentClutterLevel(float Value) { m_Settings.CurrentClutterLevel = Value; }

    void SetCurrentBandwidthPercent(UINT8 Value) { m_Settings.CurrentBandwidthPercent = Value; }
    UINT8 GetCurrentBandwidthPercent() const { return m_Settings.CurrentBandwidthPercent; }
    void SetCurrentBurstLengthValueInSec(float Value) { m_Settings.CurrentBurstLengthValueInSec = Value; }
    float GetCurrentBurstLengthValueInSec() const { return m_Settings.CurrentBurstLengthValueInSec; }
    void SetCalculatedBoostLevel(UINT8 Value) { m_Settings.CalculatedBoostLevel = Value; }
    UINT8 GetCalculatedBoostLevel() const { return m_Settings.CalculatedBoostLevel; }
    void SetCurrentBurstLengthAsPercent(UINT8 Value) { m_Settings.CurrentBurstLengthAsPercent = Value; }
    UINT8 GetCurrentBurstLengthAsPercent() const { return m_Settings.CurrentBurstLengthAsPercent; }
    void SetNumberOfSamplesToDisplay(UINT32 Value) { m_Settings.NumberOfSamplesToDisplay = Value; }
    UINT32 GetNumberOfSamplesToDisplay() const { return m_Settings.NumberOfSamplesToDisplay; }
    void SetSampleDelay(UINT32 Value) { m_Settings.SampleDelay = Value; }
    UINT32 GetSampleDelay() const { return m_Settings.SampleDelay; }
    void SetCorrectionFactor(float Value) { m_Settings.CorrectionFactor = Value; }
    float GetCorrectionFactor() const { return m_Settings.CorrectionFactor; }
    void SetBurstLengthCorrectionFactor(float Value) { m_Settings.BurstLengthCorrectionFactor = Value; }
    float GetBurstLengthCorrectionFactor() const { return m_Settings.BurstLengthCorrectionFactor; }
    void SetSteppedGainCorrectionFactor(float Value) { m_Settings.SteppedGainCorrectionFactor = Value; }
    float GetSteppedGainCorrectionFactor() const { return m_Settings.SteppedGainCorrectionFactor; }
    void SetPreviousDepth(int32_t Value) { m_Settings.PreviousDepth = Value; }
    int32_t GetPreviousDepth() const { return m_Settings.PreviousDepth; }

    void SetFPGAInterface(CFPGAIF* pInterface) { m_pFPGAInterface = pInterface; }
    CFPGAIF* GetFPGAInterface() const { return m_pFPGAInterface; }
    void SetPingParams(const Sonar4PingParameters_T& Params) { m_PingParams = Params; }
    const Sonar4PingParameters_T& GetPingParams() const { return m_PingParams; }
    void SetPingStatistics(CDatabaseQL1APingStatistics* pStatistics) { m_pPingStatistics = pStatistics; }
    CDatabaseQL1APingStatistics* GetPingStatistics() const { return m_pPingStatistics; }

    UINT32* GetRawPingDataPtr() { return m_RawPingData; }
    UINT8* GetProcessedPingDataPtr() { return m_ProcessedPingData; }

private:
    static const size_t c_NumberOfSamples = 2048;

    IOSSFactory* m_pFactory;

    // From here to the end of the processed data: the record's message.
    bool m_Active = false;
    UINT8 m_RawPingDataState = 0;
    UINT8 m_Channel = c_PingMetaDataNoChannel;
    LumetSamplingSettings_T m_Sampling;
    CorrelationFilterSettings_T m_CorrelationTable;
    LumetPingSettings_T m_Settings;
    CFPGAIF* m_pFPGAInterface = nullptr;
    Sonar4PingParameters_T m_PingParams = {};
    CDatabaseQL1APingStatistics* m_pPingStatistics = nullptr;
    UINT32 m_RawPingData[c_NumberOfSamples] = {};
    UINT8 m_ProcessedPingData[c_NumberOfSamples] = {};

    std::string m_DatabaseFilePath;
    TSQEventCode_T m_ErrorCode = c_TSQ_Success;
};

#endif
