#ifndef SONARTESTCONTROLLER_H
#define SONARTESTCONTROLLER_H

#include "CorFpgaTypes.h"
#include "TestControllerBase.h"

#include <QList>
#include <QString>

#include <string>

class CFPGAIF;
class CPingMetaData;

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

    // Firmware
    int ReadSonarVersionEnsureValid(std::string& output, CFPGAIF* pFpga, unsigned char channel);
    int LoadFPGABinary(std::string& output, bool checkVersion);

    // Water temperature and speed
    int WaterTemperature(std::string& output);
    int GetWaterSpeed(std::string& output, int duration);

    // Ping tests and their sample blocks
    static unsigned char GetAppropriateAnalogueGainLevel(QString word);
    int Ping(std::string* output, double startFrequency, double endFrequency, unsigned int depth, unsigned int period,
             unsigned int channel, QString gain);
    int Ping(std::string* output, CPingMetaData& meta);
    int LumetPing(std::string* output, QString frequency);
    int xKPing(std::string* output, QString fileName, unsigned char channel, int incrementBy);
    int OutputAsString(float* samples, int count);
    int OutputAsStringShort(unsigned short* samples, int count, int incrementBy);

    // Table files
    int GetValue(QString fileName, QString startKey, QString endKey);
    int GetSize(QString text, QString headerKey);
    QList<QString> GetPairs(QString text, QString headerKey, QString endKey);
    int LoadTables(std::vector<ChirpTableEntry_T>& chirp, std::vector<TVGTableEntry_T>& tvg,
                   std::vector<CorrelationFilterCoefficientSet_T>& correlation, std::string* output, QString fileName);

    void HandleReturn(int code, TestResult_T& result);

    // A new[] copy of the 8-bit form of text, zero-terminated.
    static char* StringFromQString(QString text);

protected:
    // Shown before an FPGA interface is created.
    QString m_FpgaInterfaceNotice;

private:
    // xkping in three parts: the table file's tables, the FPGA configured
    // from the file, and the ping with its printout.
    struct XkTables_T
    {
        ChirpTable_T Chirp;
        TVGTable_T Tvg;
        CorrelationFilterCoefficients_T Correlation;
    };
    struct XkSettings_T
    {
        unsigned int Element = 0;
        PingConfigRxBand_T Band = PingConfigRxBand_T();
        unsigned int CentreFrequency = 0;
        int Samples = 0;
        bool ChannelChoosesFpga = false;
        unsigned char Channel = 0;
    };
    int ConfigureXkFpga(CFPGAIF& fpga, const QString& fileName, const XkTables_T& tables, eFpgaAdcFrequency_T adcCode,
                        XkSettings_T& settings, std::string* output);
    int PingXkAndPrint(CFPGAIF& fpga, const XkSettings_T& settings, int incrementBy, std::string* output);

    void PutChannelVariables(unsigned int code);
    void PutProductIdentity(unsigned int firstCode);
    void StopQLSounder();
    static void PutRuntimeVariable(const QString& assignment);
};

#endif
