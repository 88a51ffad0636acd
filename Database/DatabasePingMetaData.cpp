#include "DatabasePingMetaData.h"
#include "PingMetaDataFile.h"

#include <cassert>
#include <cstdio>

CDatabasePingMetaData::CDatabasePingMetaData(IOSSFactory* pFactory, size_t index) : m_pFactory(pFactory)
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
            m_pFactory->SendEvent(c_PingMetaDataErrorEvent, m_ErrorCode, "CDatabasePingMetaData constructor",
                                  "failed to write to DB");
    }
}

size_t CDatabasePingMetaData::MessageSize_Bytes() const
{
    // Counted for the unit, a 32-bit machine. A 64-bit build measures 8 bytes
    // more: both pointers are 4 bytes wider, nothing else moves.
    const size_t c_MessageSize_Bytes = 5328;
    const size_t c_Measured = offsetof(CDatabasePingMetaData, m_ProcessedPingData) + sizeof(m_ProcessedPingData) -
                              offsetof(CDatabasePingMetaData, m_Active);
    static_assert(c_Measured == c_MessageSize_Bytes + (sizeof(void*) == 8 ? 8 : 0),
                  "the record's message no longer measures 5328 bytes on the unit");
    return c_MessageSize_Bytes;
}

TSQEventCode_T CDatabasePingMetaData::writeDB()
{
    CPingMetaDataFile File(m_pFactory, m_DatabaseFilePath);
    if (!File.Exists())
        return c_TSQ_Success;
    if (File.GetOpenError() != c_TSQ_Success)
        return File.GetOpenError();

    // Colour gain comes before gain in the file, unlike in the record;
    // readers of the file rely on that order.
    char writeBuffer[1024] = {};
    const LowscanCoefs_T& Coefs = m_Coefs;
    const int bytesWritten =
        snprintf(writeBuffer, sizeof(writeBuffer),
                 "%d\n%d\n%zu\n%f\n%f\n%d\n%d\n%d\n%d\n%f\n%d\n"           // up to the start sample
                 "%f\n%f\n%zu\n"                                           // colour gain, gain, samples to process
                 "%d\n%f\n%d\n%f\n%d\n%f\n%d\n%f\n%d\n%d\n%d\n%zu\n%zu\n"  // display settings
                 "%f\n%f\n%f\n%d\n",                                       // corrections, previous depth
                 m_Active, m_Channel, static_cast<size_t>(Coefs.NumberOfSamples), Coefs.StartFreq, Coefs.EndFreq,
                 static_cast<int>(Coefs.NumberOfFullCycles), static_cast<int>(Coefs.DecimationRate), Coefs.WorkingDepth,
                 Coefs.RequestedDepth, Coefs.DistancePerSample, static_cast<int>(Coefs.StartSample), Coefs.ColourGain,
                 Coefs.Gain, static_cast<size_t>(Coefs.NumberOfSamplesToProcess), Coefs.CurrentGainLevelPercent,
                 Coefs.CurrentGainLevel, Coefs.CurrentColourGainLevelPercent, Coefs.CurrentColourGainLevel,
                 Coefs.CurrentClutterLevelPercent, Coefs.CurrentClutterLevel, Coefs.CurrentBandwidthPercent,
                 Coefs.CurrentBurstLengthValueInSec, Coefs.CalculatedSteppedAnalogueGain, Coefs.CalculatedBoostLevel,
                 Coefs.CurrentBurstLengthAsPercent, static_cast<size_t>(Coefs.NumberOfSamplesToDisplay),
                 static_cast<size_t>(Coefs.SampleDelay), Coefs.CorrectionFactor, Coefs.BurstLengthCorrectionFactor,
                 Coefs.SteppedGainCorrectionFactor, Coefs.PreviousDepth);
    assert(bytesWritten > 0);
    assert(static_cast<size_t>(bytesWritten) < sizeof(writeBuffer));

    if (File.Write(writeBuffer, "CDatabasePingMetaData::writeDB()") != c_TSQ_Success)
        return c_TSQ_MetaDataWriteFailed;
    File.CutAtStreamPosition();
    return c_TSQ_Success;
}

TSQEventCode_T CDatabasePingMetaData::readDB()
{
    assert(0 && "CDatabasePingMetaData can't be read from disk!");
    return c_TSQ_NotSupported;
}
