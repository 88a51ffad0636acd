// Plan files: what is refused, with its line, and how expectations judge a step.
#include "Plan.h"
#include "ReportParser.h"
#include "UnitIdentity.h"
#include "UnitTarget.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{
struct Refused_T
{
    const char* plan;
    const char* message;
};

TEST(Plan, RefusesEveryMalformedLineNamingFileAndLine)
{
    const Refused_T cases[] = {
        {"expect verdict passed\n", "p.txt:1: an expectation before the first step"},
        {"timeout 5\n", "p.txt:1: a timeout before the first step"},
        {"# c\n\nstep a\n", "p.txt:3: a step needs a name and a command: step NAME COMMAND [ARGUMENTS...]"},
        {"step a/b ping\n", "p.txt:1: step name 'a/b' may hold only letters, digits, '_', '.' and '-'"},
        {"step a sensepin\nstep a speed 1\n", "p.txt:2: step name 'a' is already used on line 1"},
        {"step a sensepin\nrun a\n", "p.txt:2: unknown statement 'run' (step, expect, timeout or send)"},
        {"step a sensepin\nexpect verdict ok\n", "p.txt:2: verdict must be passed, failed, performed or any, not 'ok'"},
        {"step a sensepin\nexpect colour red\n",
         "p.txt:2: unknown expectation 'colour' (verdict, reading, samples, peak, peak-index, mean, noise, ringdown or "
         "errors)"},
        {"step a sensepin\nexpect peak 1.5..3\n",
         "p.txt:2: peak takes MIN..MAX, MIN.., ..MAX or one whole number, not '1.5..3'"},
        {"step a sensepin\nexpect mean 2..x\n",
         "p.txt:2: mean takes MIN..MAX, MIN.., ..MAX or one decimal number, not '2..x'"},
        {"step a sensepin\nexpect peak ..\n", "p.txt:2: peak range '..' sets no limit: write MIN..MAX, MIN.. or ..MAX"},
        {"step a sensepin\nexpect mean ...5\n",
         "p.txt:2: mean takes MIN..MAX, MIN.., ..MAX or one decimal number, not '...5'"},
        {"step a sensepin\nexpect peak 3...\n",
         "p.txt:2: peak takes MIN..MAX, MIN.., ..MAX or one whole number, not '3...'"},
        {"step a sensepin\nexpect samples 5..6..7\n",
         "p.txt:2: samples takes MIN..MAX, MIN.., ..MAX or one whole number, not '5..6..7'"},
        {"step a sensepin\nexpect noise 1..2\n", "p.txt:2: a noise expectation is: expect noise RANGE from A to B"},
        {"step a sensepin\nexpect noise 1..2 from 4 until 9\n",
         "p.txt:2: a noise expectation is: expect noise RANGE from A to B"},
        {"step a sensepin\nexpect noise 1..2 from 5 to 5\n",
         "p.txt:2: noise window from 5 to 5 holds no sample: A must be below B"},
        {"step a sensepin\nexpect noise 1..x from 0 to 5\n",
         "p.txt:2: noise takes MIN..MAX, MIN.., ..MAX or one decimal number, not '1..x'"},
        {"step a sensepin\nexpect noise ..2 from 0 to 5\nexpect noise 1.. from 0 to 9\n",
         "p.txt:3: step 'a' already has this noise expectation"},
        {"step a sensepin\nexpect ringdown 9 below 2.5\n",
         "p.txt:2: a ringdown expectation is: expect ringdown RANGE below LEVEL (a whole number)"},
        {"step a sensepin\nexpect ringdown 9 from 2\n",
         "p.txt:2: a ringdown expectation is: expect ringdown RANGE below LEVEL (a whole number)"},
        {"step a sensepin\nexpect ringdown 1.5.. below 3\n",
         "p.txt:2: ringdown takes MIN..MAX, MIN.., ..MAX or one whole number, not '1.5..'"},
        {"step a sensepin\nexpect samples 9..3\n",
         "p.txt:2: samples range '9..3' is empty: its minimum is above its maximum"},
        {"step a sensepin\nexpect peak\n", "p.txt:2: an expectation is: expect KEY VALUE [from INDEX]"},
        {"step a sensepin\nexpect reading 1 from 3\n",
         "p.txt:2: 'from' applies to the sample expectations only, not to reading"},
        {"step a sensepin\nexpect errors 0 from 1\n",
         "p.txt:2: 'from' applies to the sample expectations only, not to errors"},
        {"step a sensepin\nexpect errors 0.5\n", "p.txt:2: errors takes MIN..MAX, MIN.., ..MAX or one whole number, not '0.5'"},
        {"step a sensepin\nexpect peak 1\nexpect peak 2\n", "p.txt:3: step 'a' already has this peak expectation"},
        {"step a sensepin\ntimeout 0\n", "p.txt:2: a timeout is: timeout SECONDS (a number above 0)"},
        {"step a sensepin\ntimeout 1\ntimeout 2\n", "p.txt:3: step 'a' already has a timeout"},
        {"# only a comment\n", "p.txt: the plan has no step"},
    };
    for (const Refused_T& c : cases)
    {
        CPlan plan;
        QString error;
        EXPECT_FALSE(plan.Parse(c.plan, "p.txt", error)) << c.plan;
        EXPECT_EQ(error.toStdString(), c.message);
    }
}

// A sent file is checked when the plan is read: it must be there, and be a
// plain name that takes no other file's place beside the program.
TEST(Plan, SendsFilesOfThePlansOwnAndRefusesBadOnes)
{
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkpath("tables/sub.txt"));
    for (const char* name : {"tables/mine.txt", "tables/sonarbench", "tables/.hidden", "tables/x;y", "-x"})
    {
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name;
    }
    const QString plan = dir.filePath("p.txt");
    const QString step = "step a xkping mine.txt 0 1\n";
    const Refused_T cases[] = {
        {"send tables/gone.txt\n", ":1: cannot read 'tables/gone.txt': No such file or directory"},
        {"send tables/sub.txt\n", ":1: 'tables/sub.txt' is a folder, not a file"},
        {"# tables\n\nsend tables/mine.txt\nsend tables/../tables/mine.txt\n",
         ":4: a file named 'mine.txt' is already sent on line 3"},
        {"send tables/sonarbench\n", ":1: a file named 'sonarbench' would stand in for the program itself"},
        {"send tables/.hidden\n", ":1: '.hidden' is not a plain file name: letters, digits, '_', '.' and '-', "
                                  "not first '.' or '-', up to 100"},
        {"send tables/x;y\n", ":1: 'x;y' is not a plain file name: letters, digits, '_', '.' and '-', "
                              "not first '.' or '-', up to 100"},
        {"send -x\n", ":1: '-x' is not a plain file name: letters, digits, '_', '.' and '-', not first '.' or '-', "
                      "up to 100"},
        {"send tables/mine.txt extra\n", ":1: a send is: send FILE"},
        {"step a sensepin\nsend tables/mine.txt\n",
         ":2: a send after the first step: files are sent before a unit's first step"},
    };
    for (const Refused_T& c : cases)
    {
        CPlan refused;
        QString error;
        EXPECT_FALSE(refused.Parse(QByteArray(c.plan) + step.toUtf8(), plan, error)) << c.plan;
        EXPECT_EQ(error.toStdString(), (plan + c.message).toStdString());
    }

    // Relative to the plan's folder, or absolute; the name is the file's own.
    for (const QString& place : {QString("./tables//mine.txt"), dir.filePath("tables/mine.txt")})
    {
        CPlan sent;
        QString error;
        const QString planFile = place.startsWith('/') ? QString("/elsewhere/p.txt") : plan;
        ASSERT_TRUE(sent.Parse(("send " + place + "\n" + step).toUtf8(), planFile, error)) << error.toStdString();
        ASSERT_EQ(sent.Files().size(), 1u);
        EXPECT_EQ(sent.Files()[0].path, dir.filePath("tables/mine.txt"));
        EXPECT_EQ(sent.Files()[0].name.toStdString(), "mine.txt");
        EXPECT_EQ(sent.Files()[0].line, 1);
        EXPECT_EQ(
            CUnitTarget::Virtual("ql4k", "/b/vunit")
                .CommandLine({"xkping", "mine.txt"}, sent.Files())
                .join('|')
                .toStdString(),
            ("/b/vunit|--beside|" + dir.filePath("tables/mine.txt") + "=mine.txt|ql4k|xkping|mine.txt").toStdString());
    }
}

// Each step's expectations judged against one report, as "key expected measured met" lines.
std::string Judge(const char* planText, const QByteArray& report, const QString& verdict = QString())
{
    CPlan plan;
    QString error;
    EXPECT_TRUE(plan.Parse(planText, "p.txt", error)) << error.toStdString();
    const StepReport_T parsed = CReportParser().Parse(report);
    std::string text;
    for (const PlanStep_T& step : plan.Steps())
        for (const CExpectation& expectation : step.expectations)
        {
            const ExpectationResult_T r = expectation.Evaluate(parsed, verdict.isEmpty() ? parsed.verdict : verdict);
            text += QString("%1 %2 %3 %4\n")
                        .arg(r.Label(), r.expected, r.measured.isValid() ? r.measured.toString() : "-",
                             r.met ? "met" : "unmet")
                        .toStdString();
        }
    return text;
}

TEST(Plan, ExpectationsJudgeTheFirstBlockAndTheVerdict)
{
    const QByteArray ping = "<SonarFPGAData>250200010200009<EndSonarFPGAData>\n<SonarFPGAData>999<EndSonarFPGAData>\n"
                            "---------------------------------------------------\n./sonarbench ping \n\n"
                            "Test Output: \nTest Result: Test Passed.\n";
    const char* plan = "step p ping\n  # indented comment\n\texpect samples 5\nexpect peak 240..255\n"
                       "expect peak-index 0\nexpect peak 200 from 1\nexpect peak-index 1..3 from 2\n"
                       "expect mean 133.8..133.8\nexpect samples 3 from 2\ntimeout 0.5\n"
                       "step q sensepin\nexpect verdict any\nexpect reading 3..4\n";
    EXPECT_EQ(Judge(plan, ping), "verdict passed or performed passed met\nsamples 5 5 met\npeak 240..255 250 met\n"
                                 "peak-index 0 0 met\npeak from 1 200 200 met\npeak-index from 2 1..3 3 met\n"
                                 "mean 133.8 133.8 met\nsamples from 2 3 3 met\n"
                                 "verdict any passed met\nreading 3..4 - unmet\n");
    for (const char* unfinished : {"timeout", "stopped"})
        EXPECT_EQ(Judge("step t speed 0\nexpect verdict any\nexpect peak 1 from 9\n", "", unfinished),
                  QString("verdict any %1 unmet\npeak from 9 1 - unmet\n").arg(unfinished).toStdString());
    EXPECT_EQ(Judge("step n x\nexpect verdict any\n", "no verdict line\n"), "verdict any none met\n");
    EXPECT_EQ(Judge("step f x\nexpect verdict failed\n", "Test Result: Test Passed.\n"),
              "verdict failed passed unmet\n");
    // ERROR lines and a pass: only lines that begin with "ERROR: " count.
    const QByteArray errors = "ERROR: Get ping failed.\r\n ERROR: indented\nERROR:no blank\nERROR: again\n"
                              "Test Result: Test Passed.\n";
    EXPECT_EQ(Judge("step e x\nexpect errors 0\nstep f x\nexpect errors 1..2\n", errors),
              "verdict passed or performed passed met\nerrors 0 2 unmet\n"
              "verdict passed or performed passed met\nerrors 1..2 2 met\n");
    EXPECT_EQ(Judge("step t speed 0\nexpect errors 0\n", "", "timeout"),
              "verdict passed or performed timeout unmet\nerrors 0 0 met\n");
}

// Open ranges judge one side; noise and ringdown read the first block, and a
// block that cannot give them leaves the expectation unmet.
TEST(Plan, OpenRangesNoiseAndRingdown)
{
    // 250 120 60 7 1 7 1 0: the bang rings down below 50 at sample 3; samples 3 to 6 have an RMS of 5.
    const QByteArray ping = "<SonarFPGAData>250120060007001007001000<EndSonarFPGAData>\n"
                            "<SonarFPGAData>000255<EndSonarFPGAData>\nTest Result: Test Passed.\n";
    const char* plan = "step p ping\nexpect peak 240..\nexpect peak ..119 from 1\nexpect mean -3.5..\n"
                       "expect peak-index ..2 from 3\nexpect samples 2.. from 7\n"
                       "expect noise ..6 from 3 to 7\nexpect noise 5.5.. from 0 to 8\nexpect noise 0..9 from 1 to 9\n"
                       "expect ringdown 4.. below 50\n"
                       "step q ping\nexpect ringdown 3 below 61\nstep r ping\nexpect ringdown 0.. below 0\n"
                       "step s ping\nexpect noise -1..1 from 4 to 5\nexpect ringdown ..-1 below -1\n";
    EXPECT_EQ(Judge(plan, ping), "verdict passed or performed passed met\npeak 240.. 250 met\n"
                                 "peak from 1 ..119 120 unmet\nmean -3.5.. 55.75 met\n"
                                 "peak-index from 3 ..2 3 unmet\nsamples from 7 2.. 1 unmet\n"
                                 "noise from 3 to 7 ..6 5 met\nnoise from 0 to 8 5.5.. 100.37429949942366 met\n"
                                 "noise from 1 to 9 0..9 - unmet\nringdown below 50 4.. 3 unmet\n"
                                 "verdict passed or performed passed met\nringdown below 61 3 2 unmet\n"
                                 "verdict passed or performed passed met\nringdown below 0 0.. - unmet\n"
                                 "verdict passed or performed passed met\nnoise from 4 to 5 -1..1 1 met\n"
                                 "ringdown below -1 ..-1 - unmet\n");
    // A block whose largest sample is its last one has nothing after it to ring down.
    EXPECT_EQ(Judge("step p ping\nexpect verdict any\nexpect ringdown 0.. below 255\n",
                    "<SonarFPGAData>000010255<EndSonarFPGAData>\n"),
              "verdict any none met\nringdown below 255 0.. - unmet\n");
}

TEST(UnitTarget, CommandLinesOfVirtualAndSshUnits)
{
    EXPECT_EQ(
        CUnitTarget::Virtual("ql4k", "/b/vunit").CommandLine({"xkping", "t.txt", "0", "2"}).join('|').toStdString(),
        "/b/vunit|ql4k|xkping|t.txt|0|2");
    EXPECT_EQ(CUnitTarget::Virtual("ql4k", "/b/vunit").CommandLine({"speed", "--unit-dir"}).join('|').toStdString(),
              "/b/vunit|ql4k|--|speed|--unit-dir");
    CUnitTarget ssh;
    QString error;
    ASSERT_TRUE(CUnitTarget::Ssh("tester@unit-7.lan:2222", ssh, error));
    EXPECT_EQ(ssh.Name().toStdString(), "ssh:unit-7.lan");
    qunsetenv("SONARSTATION_SSH_CONFIG");
    EXPECT_EQ(ssh.CommandLine({"batteryvoltage", "it's", "a;b"}).join('|').toStdString(),
              "ssh|-o|BatchMode=yes|-o|ConnectTimeout=10|-p|2222|tester@unit-7.lan|"
              "cd /corvane/Test && ./sonarbench batteryvoltage 'it'\\''s' 'a;b'");
    for (const char* bad : {"-oProxyCommand=x", "host:0", "a b", "host:99999", ""})
        EXPECT_FALSE(CUnitTarget::Ssh(bad, ssh, error)) << bad;

    // A lot unit's steps see its attempt; the identity script runs through the same transport.
    CUnitTarget lot = CUnitTarget::Lot("ql4k", 7, "/b/vunit");
    EXPECT_EQ(lot.Name(), "ql4k#7");
    lot.SetAttempt(3);
    EXPECT_EQ(lot.CommandLine({"lcdtemperature"}, {{"/p/t.txt", "t.txt"}}).join('|').toStdString(),
              "/b/vunit|--lot-unit|7:3|--beside|/p/t.txt=t.txt|ql4k|lcdtemperature");
    EXPECT_EQ(lot.ShellCommandLine("echo $0").join('|').toStdString(),
              "/b/vunit|--lot-unit|7:3|ql4k|--run|/bin/sh|--|-c|echo $0");
    EXPECT_EQ(ssh.ShellCommandLine("cat /VERSION").join('|').toStdString(),
              "ssh|-o|BatchMode=yes|-o|ConnectTimeout=10|-p|2222|tester@unit-7.lan|cd /corvane/Test && cat /VERSION");
}

// What the identity script prints for these files (path, content; no content: absent).
QByteArray IdentityOutput(const std::vector<std::pair<const char*, QByteArray>>& files)
{
    QByteArray output;
    for (const char* path :
         {CUnitIdentity::c_SerialFile, CUnitIdentity::c_ApplicationVersionFile, CUnitIdentity::c_PlatformVersionFile,
          CUnitIdentity::c_VarrowIdFile, CUnitIdentity::c_PelionIdFile, CUnitIdentity::c_BoardIdFile})
    {
        const auto file = std::find_if(files.begin(), files.end(), [&](const auto& f) { return f.first == path; });
        if (file == files.end())
            output += QByteArray("- ") + path + "\n";
        else
            output += QByteArray::number(file->second.size()) + " " + path + "\n" + file->second + "\n";
    }
    return output;
}

TEST(UnitIdentity, ReadsSerialVersionsAndProductFromOneAnswer)
{
    const char* varrow = CUnitIdentity::c_VarrowIdFile;
    const char* pelion = CUnitIdentity::c_PelionIdFile;
    const char* board = CUnitIdentity::c_BoardIdFile;
    const char* serial = CUnitIdentity::c_SerialFile;
    const struct
    {
        std::vector<std::pair<const char*, QByteArray>> files;
        QByteArray expected;  // serial (or -), product
    } cases[] = {
        {{{serial, "0412345678\n"}, {varrow, "QL3B\n"}, {board, "500\n"}}, "0412345678|QL4K"},
        {{{serial, "S\n"}, {varrow, "QL3B\n"}, {board, "300"}}, "S|QL5K"},
        {{{varrow, "QL3B\n"}, {board, "700\n"}}, "-|QL6M"},
        {{{serial, ""}, {varrow, "QL3B\n"}, {board, "900\n"}}, "-|"},
        {{{serial, "\n"}, {varrow, "QL3B\n"}}, "-|"},
        {{{serial, "a\nb\n"}, {varrow, "LumetV1"}}, "a\nb|"},
        {{{serial, "- /VERSION\n9 x\n"}, {varrow, "VarrowV2\n"}, {pelion, "HZ05\n"}}, "- /VERSION\n9 x|LumetV2"},
        {{{pelion, "Tq3\n"}}, "-|Tq"},
        {{{pelion, "Tqxx\n"}}, "-|"},
        {{{pelion, "NR2\n"}}, "-|Nr2"},
        {{{serial, QByteArray("\xff\0x", 3)}, {varrow, "Halvard Keyboard\n"}},
         QByteArray("\xff\0x|Halvard Keyboard", 20)},
    };
    for (const auto& c : cases)
    {
        UnitIdentity_T identity;
        ASSERT_TRUE(CUnitIdentity::Parse(IdentityOutput(c.files), identity)) << c.expected.toStdString();
        EXPECT_EQ((identity.hasSerial ? identity.serial : QByteArray("-")) + "|" + identity.product.toUtf8(),
                  c.expected);
    }

    UnitIdentity_T identity;
    ASSERT_TRUE(CUnitIdentity::Parse(IdentityOutput({{CUnitIdentity::c_ApplicationVersionFile, "2.14.0\n"},
                                                     {CUnitIdentity::c_PlatformVersionFile, "1.8.3\n"},
                                                     {varrow, "QL3B\n"},
                                                     {board, "\"500\"\n"}}),
                                     identity));
    EXPECT_EQ(identity.applicationVersion, "2.14.0");
    EXPECT_EQ(identity.platformVersion, "1.8.3");
    EXPECT_EQ(identity.productIdentification.toStdString(),
              "{\"/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw\":\"\\\"500\\\"\\n\","
              "\"/sys/devices/platform/varrow/product_id\":\"QL3B\\n\"}");
    EXPECT_EQ(identity.product, "");

    // An answer cut short or out of step is no identity.
    const QByteArray whole = IdentityOutput({{serial, "SN\n"}});
    for (const QByteArray& broken : {QByteArray(), whole.left(whole.size() - 1),
                                     QByteArray(whole).replace("3 /", "4 /"), QByteArray("ssh: connect to host\n")})
        EXPECT_FALSE(CUnitIdentity::Parse(broken, identity)) << broken.toStdString();
}
}
