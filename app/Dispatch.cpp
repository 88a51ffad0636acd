#include "Dispatch.h"

#include "SonarTestController.h"

#include <QString>

#include <cstdio>

namespace
{
void AppendParameterCountError(CSonarTestController& controller, std::string& output)
{
    controller.Message(std::string("ERROR: Incorrect Parameter Count.\n"), &output, false, true);
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

// Rows whose handlers are not part of this build check their arguments and
// then leave the run unrecognised, so the station sees the help.
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
    }

    if (command == "xkping" && argc != 5)
    {
        AppendParameterCountError(controller, output);
        result = TEST_FAILED;
    }

    if (command == "ping")
    {
        if (argc != 8)
        {
            AppendParameterCountError(controller, output);
            result = TEST_FAILED;
        }
        else if (!IsGainWord(QString::fromLatin1(argv[7])))
        {
            printf("%s is not a valid Analogue Gain level.\n", argv[7]);
            fflush(stdout);
            result = TEST_FAILED;
        }
    }

    if (command == "batteryvoltage")
        result = controller.BatteryVoltage(output);

    if (command == "lcdtemperature")
        result = controller.LCDTemperature(output);

    if (command == "speed" && argc != 3)
    {
        // Deliberately leaves the result unrecognised: the station then shows the help.
        AppendParameterCountError(controller, output);
    }

    if (command == "sensepin")
        result = controller.SensePin(output);

    return result;
}
