// An inline SVG plot of one sample block: amplitude against sample index,
// with the step's expectation ranges drawn over it.
#pragma once

#include "Expectation.h"
#include "StepReport.h"

#include <QString>

#include <vector>

class CSvgPlot
{
public:
    QString Render(const SampleBlock_T& block, const std::vector<ExpectationResult_T>& expectations) const;

private:
    struct Frame_T;
    QString Axes(const Frame_T& frame) const;
    QString Ranges(const Frame_T& frame, const std::vector<ExpectationResult_T>& expectations) const;
    QString Trace(const Frame_T& frame, const std::vector<int>& samples) const;
};
