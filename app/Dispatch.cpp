#include "Dispatch.h"

#include "SonarTestController.h"

#include <QString>

#include <cstdio>

namespace
{
void AppendParameterCountError(CSonarTestController& controller, std::string& output)
{
    controller.Message(controller.OutputText(OUT_INCORRECT_PARAMETER_COUNT), &output, false, true);
}

bool IsFrequencyWord(const QString& word)
{
    return word == "200" || word == "350" || word == "350long" || word == "200long" || word == "50long";
}

bool IsGainWord(const QString& word)
{
    for (const char* gain : {"high", "medium", "low"})
        if (word.compare(QString(gain), Qt::CaseInsensitive) == 0)
            return true;
    return false;
}
}

// One run, one command: the rows are independent tests in the station's
// order, and no word matches two of them.
int DispatchCommand(CSonarTestController& controller, int argc, char* argv[], std::string& output)
{
    const QString command = argc > 1 ? QString::fromLatin1(argv[1]) : QString();
    int result = NOT_RECOGNIZED;

    if (command == "lowscanping" || command == "lumetping")
    {
        if (argc != 3)
        {
            AppendParameterCountError(controller, output);
            result = TEST_FAILED;
        }
        else if (!IsFrequencyWord(QString::fromLatin1(argv[2])))
        {
            // Names four of the five accepted words; "50long" is accepted all the same.
            controller.Message(std::string("ERROR: Start freq must be 200, 350, 350long or 200long."), &output, false,
                               true);
            result = TEST_FAILED;
        }
        else
            result = controller.LumetPing(&output, QString::fromLatin1(argv[2]));
    }

    if (command == "xkping")
    {
        if (argc != 5)
        {
            AppendParameterCountError(controller, output);
            result = TEST_FAILED;
        }
        else
        {
            const unsigned char channel = static_cast<unsigned char>(TestControllerBase::CharToUnsignedInt(argv[3]));
            const int incrementBy = static_cast<int>(TestControllerBase::CharToUnsignedInt(argv[4]));
            result = controller.xKPing(&output, QString::fromLatin1(argv[2]), channel, incrementBy);
        }
    }

    if (command == "ping")
    {
        if (argc != 8)
        {
            AppendParameterCountError(controller, output);
            result = TEST_FAILED;
        }
        else
        {
            const double start = TestControllerBase::CharToUnsignedInt(argv[2]);
            const double end = TestControllerBase::CharToUnsignedInt(argv[3]);
            const unsigned int depth = TestControllerBase::CharToUnsignedInt(argv[4]);
            const unsigned int period = TestControllerBase::CharToUnsignedInt(argv[5]);
            const unsigned int channel = TestControllerBase::CharToUnsignedInt(argv[6]);
            const QString gain = QString::fromLatin1(argv[7]);
            if (!IsGainWord(gain))
            {
                printf("%s is not a valid Analogue Gain level.\n", argv[7]);
                fflush(stdout);
                result = TEST_FAILED;
            }
            else
            {
                controller.Message(std::string("3\n"), nullptr, true, false);
                result = controller.Ping(&output, start, end, depth, period, channel, gain);
            }
        }
    }

    if (command == "batteryvoltage")
        result = controller.BatteryVoltage(output);

    if (command == "lcdtemperature")
        result = controller.LCDTemperature(output);

    if (command == "watertemperature")
        result = controller.WaterTemperature(output);

    if (command == "loadfpgabinary")
        result = controller.LoadFPGABinary(output, true);

    if (command == "speed")
    {
        if (argc != 3)
        {
            // Deliberately leaves the result unrecognised: the station then shows the help.
            AppendParameterCountError(controller, output);
        }
        else
            result = controller.GetWaterSpeed(output, static_cast<int>(TestControllerBase::CharToUnsignedInt(argv[2])));
    }

    if (command == "sensepin")
        result = controller.SensePin(output);

    return result;
}
