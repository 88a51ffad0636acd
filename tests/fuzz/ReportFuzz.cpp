// libFuzzer target: arbitrary bytes as a unit's report, through the parser and
// into the station's JUnit and JSON results, which must stay readable.
#include "JsonWriter.h"
#include "JunitWriter.h"
#include "Plan.h"
#include "ReportParser.h"

#include <QJsonDocument>
#include <QXmlStreamReader>

#include <cstdint>
#include <cstdlib>

namespace
{
void Require(bool condition)
{
    if (!condition)
        abort();
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const StepReport_T report = CReportParser().Parse(text);
    static const QStringList verdicts = {"passed", "failed", "performed", "unrecognised", "none"};
    Require(verdicts.contains(report.verdict));
    size_t samples = 0;
    for (const SampleBlock_T& block : report.blocks)
        samples += block.samples.size();
    // Every sample takes at least two bytes of the text: a digit and a separator, or three digits.
    Require(samples <= size / 2 + 1);

    // Every measuring key on whatever blocks came, and the same bytes read as a
    // plan (without send: it opens files), judging them too: no crash either way.
    static const char* const c_Plan = "step a x\nexpect peak 1.. from 3\nexpect peak-index ..9\nexpect mean 1..2\n"
                                      "expect samples 5.. from 2\nexpect noise ..12 from 2 to 9\n"
                                      "expect ringdown 0..9 below 50\nexpect reading 1\nexpect errors 0\n";
    for (const QByteArray& planText : {QByteArray(c_Plan), text})
    {
        CPlan plan;
        QString error;
        if (planText.contains("send") || !plan.Parse(planText, "fuzz.txt", error))
            continue;
        for (const PlanStep_T& planStep : plan.Steps())
            for (const CExpectation& expectation : planStep.expectations)
                Require(!expectation.Evaluate(report, report.verdict).expected.isEmpty());
    }

    StationResults_T results;
    results.plan = "fuzz.txt";
    results.units.resize(1);
    results.units[0].unit = "fuzz";
    StepResult_T step;
    step.name = "fuzz";
    step.report = report;
    step.text = text;
    step.errors = text;
    step.expectations.push_back({"peak", QString::fromUtf8(text.left(20)), 1, QVariant(text.left(10)), false});
    results.units[0].steps.push_back(step);

    QXmlStreamReader xml(CJunitWriter().Document(results));
    while (!xml.atEnd())
        xml.readNext();
    Require(!xml.hasError());
    Require(!QJsonDocument::fromJson(CJsonWriter().Document(results)).isNull());
    return 0;
}
