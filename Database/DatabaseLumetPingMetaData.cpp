#include "DatabaseLumetPingMetaData.h"
#include "PingMetaDataFile.h"

#include <cassert>
#include <cstdio>

CDatabaseLumetPingMetaData::CDatabaseLumetPingMetaData(IOSSFactory* pFactory, size_t index) : m_pFactory(pFactory)
{
    assert(m_pFactory);
    const std::string Root = CPingMetaDataFile::Root(m_pFactory);
    const std::string Name = CPingMetaDataFile::Name(index);
    m_DatabaseFilePath = Root + Name;
    assert(m_DatabaseFilePath.length() <= MAX_DATABASE_PATH_LENGTH);

    // An existing file stays as it is until the owner writes the record.
    if (!m_pFactory->CheckForFile(Root.c_str(), Name.c_str()))
    {
        m_ErrorCode = writeDB();
        if (m_ErrorCode != c_TSQ_Success)
            m_pFactory->SendEvent(c_PingMetaDataErrorEvent, m_ErrorCode, "CDatabaseLumetPingMetaData constructor",
                                  "failed to write to DB");
    }
}

size_t CDatabaseLumetPingMetaData::MessageSize_Bytes() const
{
    // Counted for the unit, a 32-bit machine. A 64-bit build measures 28 bytes
    // more: both pointers are 4 bytes wider, the coefficient vector 12, and
    // aligning that vector takes 4.
    const size_t c_MessageSize_Bytes = 10468;
    const size_t c_Measured = offsetof(CDatabaseLumetPingMetaData, m_ProcessedPingData) + sizeof(m_ProcessedPingData) -
                              offsetof(CDatabaseLumetPingMetaData, m_Active);
    static_assert(c_Measured == c_MessageSize_Bytes + (sizeof(void*) == 8 ? 28 : 0),
                  "the record's message no longer measures 10468 bytes on the unit");
    return c_MessageSize_Bytes;
}

TSQEventCode_T CDatabaseLumetPingMetaData::writeDB()
{
    const char* const c_Origin = "CDatabaseLumetPingMetaData::writeDB()";
    CPingMetaDataFile File(m_pFactory, m_DatabaseFilePath);
    if (!File.Exists())
        return c_TSQ_Success;
    if (File.GetOpenError() != c_TSQ_Success)
        return File.GetOpenError();

    char writeBuffer[1024] = {};
    const LumetSamplingSettings_T& Sampling = m_Sampling;
    const LumetPingSettings_T& Ping = m_Settings;
    int bytesWritten = snprintf(
        writeBuffer, sizeof(writeBuffer),
        "%d\n%d\n%zu\n%d\n%d\n%zu\n%d\n%d\n%d\n%d\n%d\n%zu\n"  // up to the burst length
        "%d\n%d\n%f\n%zu\n%zu\n"                               // depths and sample range
        "%d\n%f\n%d\n%f\n%d\n%f\n%d\n%f\n%d\n%d\n%zu\n%zu\n"   // display settings
        "%f\n%f\n%f\n%d\n%d\n%d\n",                            // corrections, previous depth, filter
        m_Active, m_Channel, static_cast<size_t>(Sampling.NumberOfSamples), Sampling.CalculatedSteppedAnalogueGain,
        static_cast<int>(Sampling.BasebandCentreFreq), static_cast<size_t>(Ping.SubSampleRate), Ping.StartFreq,
        Ping.EndFreq, static_cast<int>(Ping.ChirpStartFreq), static_cast<int>(Ping.ChirpEndFreq),
        static_cast<int>(Ping.ChirpIncrement), static_cast<size_t>(Ping.BurstLengthInFullCycles), Ping.WorkingDepth,
        Ping.RequestedDepth, Ping.DistancePerSample, static_cast<size_t>(Ping.StartSample),
        static_cast<size_t>(Ping.NumberOfSamplesToProcess), Ping.CurrentGainLevelPercent, Ping.CurrentGainLevel,
        Ping.CurrentColourGainLevelPercent, Ping.CurrentColourGainLevel, Ping.CurrentClutterLevelPercent,
        Ping.CurrentClutterLevel, Ping.CurrentBandwidthPercent, Ping.CurrentBurstLengthValueInSec,
        Ping.CalculatedBoostLevel, Ping.CurrentBurstLengthAsPercent, static_cast<size_t>(Ping.NumberOfSamplesToDisplay),
        static_cast<size_t>(Ping.SampleDelay), Ping.CorrectionFactor, Ping.BurstLengthCorrectionFactor,
        Ping.SteppedGainCorrectionFactor, Ping.PreviousDepth, m_CorrelationTable.DownShift, m_CorrelationTable.Scaling);
    assert(bytesWritten > 0);
    assert(static_cast<size_t>(bytesWritten) < sizeof(writeBuffer));
    if (File.Write(writeBuffer, c_Origin) != c_TSQ_Success)
        return c_TSQ_MetaDataWriteFailed;

    const CorrelationFilterCoefficients_T& Coefficients = m_CorrelationTable.Coefficients;
    bytesWritten = snprintf(writeBuffer, sizeof(writeBuffer), "Lumet Channel %d CorrelationFilterTable Size = %zu \n",
                            m_Channel, Coefficients.size());
    assert(bytesWritten > 0);
    assert(static_cast<size_t>(bytesWritten) < sizeof(writeBuffer));
    if (File.Write(writeBuffer, c_Origin) != c_TSQ_Success)
        return c_TSQ_MetaDataWriteFailed;

    // The table can outgrow the buffer, so each pair goes out on its own.
    for (const CorrelationFilterCoefficientSet_T& Pair : Coefficients)
    {
        snprintf(writeBuffer, sizeof(writeBuffer), "%d,%d,", Pair.First, Pair.Second);
        if (File.Write(writeBuffer, c_Origin) != c_TSQ_Success)
            return c_TSQ_MetaDataWriteFailed;
    }
    File.CutAtStreamPosition();
    return c_TSQ_Success;
}

TSQEventCode_T CDatabaseLumetPingMetaData::readDB()
{
    assert(0 && "CDatabaseLumetPingMetaData can't be read from disk!");
    return c_TSQ_NotSupported;
}
