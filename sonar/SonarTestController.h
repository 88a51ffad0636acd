#ifndef SONARTESTCONTROLLER_H
#define SONARTESTCONTROLLER_H

#include "TestControllerBase.h"

#include <QString>

#include <string>

// The one object of a sonarbench run: writes the product environment the FPGA
// layer reads, switches the sonar on and holds the test procedures.
class CSonarTestController : public TestControllerBase
{
public:
    CSonarTestController();
    ~CSonarTestController() override;

    void ShowValidArguments(std::string* text) override;

    int EnableSonar(std::string* output);
    int BatteryVoltage(std::string& output);
    int LCDTemperature(std::string& output);
    int SensePin(std::string& output);

    void HandleReturn(int code, TestResult_T& result);

    // A new[] copy of the 8-bit form of text, zero-terminated.
    static char* StringFromQString(QString text);

protected:
    // Shown before an FPGA interface is created.
    QString m_FpgaInterfaceNotice;

private:
    // Sounders on the Varrow platform board: PLATFORM_TYPE=1 and the Varrow power switch.
    static bool IsVarrowPlatformSounder(unsigned int code);
    static bool IsSkdDisplay(unsigned int code);
    static bool IsPelionSounder(unsigned int code);

    void PutChannelVariables(unsigned int code);
    void PutProductIdentity(unsigned int firstCode);
    void StopQLSounder();
    static void PutRuntimeVariable(const QString& assignment);
};

#endif
