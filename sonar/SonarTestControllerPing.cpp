#include "SonarTestController.h"

#include "FPGAIF.h"
#include "LSFpgaCodec.h"
#include "OSSLinuxFactory.h"
#include "PingMetaData.h"
#include "ProductCatalogue.h"

#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace
{
const unsigned int c_PingSamples = 993;
const double c_MetresPerSampleAtRateOne = 0.0003562607;
const unsigned char c_SteppedAnalogueGain = 50;

// Truncation toward zero, saturating as the unit's ARM conversion does, so a
// wild sample becomes a visible error instead of undefined behaviour.
int TruncateSample(float sample)
{
    if (std::isnan(sample))
        return 0;
    if (sample >= 2147483648.0f)
        return std::numeric_limits<int>::max();
    if (sample <= -2147483648.0f)
        return std::numeric_limits<int>::min();
    return static_cast<int>(sample);
}

// Three characters per sample, no separators; returns false when a sample
// did not fit and was left out.
bool AppendThreeDigits(float sample, std::string& block, int& length)
{
    char text[16];
    length = snprintf(text, sizeof text, "%03d", TruncateSample(sample));
    if (length != 3)
        return false;
    block.append(text, 3);
    return true;
}

void PrintSampleBlock(const std::string& block)
{
    printf("\n<SonarFPGAData>%s", block.c_str());
    printf("<EndSonarFPGAData>\n");
    fflush(stdout);
}

void FillChannel(LSChannelConfigure_T& block, unsigned char channel, unsigned int period, double start, double end,
                 unsigned int decimation, unsigned char gain)
{
    block.Channel = channel;
    block.Period = period;
    block.StartFrequency = start;
    block.EndFrequency = end;
    block.NumberOfSamples = c_PingSamples;
    block.SampleDelay = 0;
    block.DecimationRate = decimation;
    block.Gain = 0.0;
    block.ColourGain = 1.0;
    block.SteppedAnalogueGain = gain;
}
}

// "medium" below "low" is how the FPGA's gain steps are numbered.
unsigned char CSonarTestController::GetAppropriateAnalogueGainLevel(QString word)
{
    if (word == "high")
        return 30;
    if (word == "medium")
        return 10;
    if (word == "low")
        return 20;
    return 0;
}

int CSonarTestController::OutputAsString(float* samples, int count)
{
    std::string block;
    int result = TEST_PASSED;
    for (int i = 0; i < count; ++i)
    {
        int length = 0;
        if (!AppendThreeDigits(samples[i], block, length))
        {
            printf("ERROR: Sample value expected to be three digits. Actual size: %d.\n", length);
            fflush(stdout);
            result = TEST_FAILED;
        }
    }
    PrintSampleBlock(block);
    return result;
}

int CSonarTestController::Ping(std::string* output, double startFrequency, double endFrequency, unsigned int depth,
                               unsigned int period, unsigned int channel, QString gain)
{
    if (ProductCatalogue::Find(GetProductId()).RefusedByPing)
    {
        Message(std::string("ERROR: Do not use ping for Lumet or New QL derivitives. Use lumetping instead.\n"), output,
                false, true);
        return TEST_FAILED;
    }

    COSSLinuxFactory factory;
    Message(m_FpgaInterfaceNotice, output, true, false);
    CFPGAIF fpga(&factory, 0);

    TestResult_T result = TEST_PASSED;
    if (ReadSonarVersionEnsureValid(*output, &fpga, 0) != TEST_PASSED)
        return TEST_FAILED;

    unsigned int ch0Period = 0;
    unsigned int ch1Period = 0;
    unsigned char activeChannel = 0;
    if (channel == 0)
        ch0Period = period;
    else if (channel == 1)
    {
        ch1Period = period;
        activeChannel = 1;
    }
    else
    {
        // The ping still goes out, on channel 255 with both periods, so the
        // station sees what the FPGA does with it; the run fails regardless.
        printf("Invalid channel Specified: %d\n", channel);
        fflush(stdout);
        Message(std::string("Channel must be 1 or 0.\n"), output, false, true);
        result = TEST_FAILED;
        ch0Period = period;
        ch1Period = period;
        activeChannel = 255;
    }

    const unsigned char gainLevel = GetAppropriateAnalogueGainLevel(gain);
    // Saturates as on the unit: a depth of -1 arrives as 4294967295.
    const unsigned int decimation = LSFpga::ToUnsigned(static_cast<double>(depth) / c_MetresPerSampleAtRateOne /
                                                       static_cast<double>(c_PingSamples));

    LSFpgaCompleteConfigure_T configuration = {};
    FillChannel(configuration.Channels[0], 0, ch0Period, startFrequency, endFrequency, decimation, gainLevel);
    FillChannel(configuration.Channels[1], 1, ch1Period, startFrequency, endFrequency, decimation, gainLevel);
    configuration.AnalogueGainLevel = gainLevel;
    configuration.BoostLevel = 181;
    configuration.BoostEnable = 1;

    std::vector<UINT8> samples(c_PingSamples * 4, 0);
    std::vector<UINT8> values(c_PingSamples * 4, 0);
    Buffer_Bytes_T sampleBuffer(samples.data(), samples.size());
    Buffer_Bytes_T valueBuffer(values.data(), values.size());

    HandleReturn(fpga.Flush(activeChannel), result);
    HandleReturn(fpga.setUpForPing(configuration), result);
    HandleReturn(fpga.PingNow(), result);
    fpga.WaitForData();
    HandleReturn(fpga.GetPing(activeChannel, &sampleBuffer, &valueBuffer), result);

    printf("\nParameters:\n");
    printf("Ch0Period = %d; Ch1Period = %d ; Start freq = %f; End freq = %f; Decimation rate = %d ; Samples = %d\n",
           ch0Period, ch1Period, startFrequency, endFrequency, decimation, c_PingSamples);

    std::string block;
    for (unsigned int i = 0; i < c_PingSamples; ++i)
    {
        float sample;
        memcpy(&sample, samples.data() + i * sizeof(float), sizeof sample);
        int length = 0;
        if (!AppendThreeDigits(sample, block, length))
        {
            printf("Wrong size.\n");
            result = TEST_FAILED;
        }
    }
    PrintSampleBlock(block);
    return result;
}

int CSonarTestController::Ping(std::string* output, CPingMetaData& meta)
{
    COSSLinuxFactory factory;
    Message(m_FpgaInterfaceNotice, output, false, true);
    CFPGAIF fpga(&factory, 0);
    if (ReadSonarVersionEnsureValid(*output, &fpga, 0) != TEST_PASSED)
    {
        Message(std::string("ERROR: Failed to populate FPGA data.\n"), output, false, true);
        return TEST_FAILED;
    }

    const unsigned char channel = static_cast<unsigned char>(meta.Channel);
    const unsigned int centre = meta.BaseBandFilterCentreFreq;
    // The first refusal ends the set-up.
    const bool populateFailed =
        fpga.SetNumberOfSamplesToReceive(meta.NumberOfSamples, channel) != c_TSQ_Success ||
        fpga.SetSteppedAnalogueGain(c_SteppedAnalogueGain, channel) != c_TSQ_Success ||
        fpga.SetBaseBandFilterCentreFreq(centre, channel) != c_TSQ_Success ||
        fpga.SetCorrelationFilter(meta.CorrelationFilter, channel) != c_TSQ_Success ||
        fpga.SetCorralationDownShift(static_cast<unsigned char>(meta.CorrelationDownShift), channel) != c_TSQ_Success ||
        fpga.SetSubSampleRate(meta.SubSampleRate, channel) != c_TSQ_Success ||
        fpga.SetStartFreq(meta.StartFreq, channel) != c_TSQ_Success ||
        fpga.SetChirpIncrement(meta.ChirpIncrement, channel) != c_TSQ_Success ||
        fpga.SetBurstLength(meta.BurstLength, channel) != c_TSQ_Success ||
        fpga.SetCorralationScaling(static_cast<unsigned char>(meta.CorrelationScaling), channel) != c_TSQ_Success ||
        fpga.SetBoostLevel(static_cast<unsigned char>(meta.BoostLevel)) != c_TSQ_Success;
    if (populateFailed)
    {
        Message(std::string("ERROR: Failed to populate FPGA data.\n"), output, false, true);
        return TEST_FAILED;
    }
    if (fpga.UpdateFPGA() != c_TSQ_Success)
    {
        Message(std::string("ERROR: UpdateFPGA failed.\n"), output, false, true);
        return TEST_FAILED;
    }

    Message(QString::asprintf("Attempting ping on channel %d (%s) at start frequency of: %d\n", channel,
                              channel == 0 ? "Sonar" : "Lowscan", meta.StartFreq),
            output, false, true);
    // Bit 0 fires, bit 1 picks channel 0, bit 2 channel 1.
    const bLumetCommandByte command = {static_cast<UINT8>(channel == 0 ? 3 : channel == 1 ? 5 : 1)};
    if (fpga.PingNow(command) != c_TSQ_Success)
    {
        Message(std::string("ERROR: Ping failed.\n"), output, false, true);
        return TEST_FAILED;
    }

    // Only the first quarter of the area is cleared: the FPGA overwrites
    // every sample it delivers, so the rest is never shown unset.
    assert(meta.NumberOfSamples <= meta.SampleSlots && "Receive area too small for the samples");
    std::unique_ptr<UINT8[]> area(new UINT8[4 * static_cast<size_t>(meta.SampleSlots)]);
    memset(area.get(), 0, meta.SampleSlots);
    Buffer_Bytes_T buffer(area.get(), meta.NumberOfSamples);
    if (fpga.GetPing(channel, &buffer, 0) != c_TSQ_Success)
    {
        Message(std::string("ERROR: Get ping failed.\n"), output, false, true);
        return TEST_FAILED;
    }

    std::vector<float> samples(meta.NumberOfSamples);
    memcpy(samples.data(), area.get(), samples.size() * sizeof(float));
    const int result = OutputAsString(samples.data(), static_cast<int>(samples.size()));
    if (result != TEST_PASSED)
        Message(std::string("ERROR: OutputAsString failed.\n"), output, false, true);
    return result;
}
