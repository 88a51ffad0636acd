// sonarbench: one production test of a sonar unit per run.
#include "Dispatch.h"
#include "SonarTestController.h"

#include <QString>

#include <string>

int main(int argc, char* argv[])
{
    CSonarTestController controller;

    std::string output = "---------------------------------------------------\n";
    QString commandLine;
    for (int i = 0; i < argc; ++i)
        commandLine += QString::fromLatin1(argv[i]) + " ";
    const std::string commandLineBytes = commandLine.toLatin1().constData();
    output += commandLineBytes;
    output += "\n";
    output += "\nTest Output: \n";

    int result = NOT_RECOGNIZED;
    std::string enableOutput;
    if (controller.EnableSonar(&enableOutput) != OPERATION_PERFORMED)
    {
        controller.Message(std::string("ERROR: Cannot enable Sonar.\n"), &output, false, true);
        output += enableOutput;
        result = TEST_FAILED;
    }
    else
    {
        result = DispatchCommand(controller, argc, argv, output);
    }

    controller.ReportResult(output, commandLineBytes, static_cast<TestResult_T>(result));
    return 0;
}
