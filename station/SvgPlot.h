// An inline SVG plot of one sample block: amplitude against sample index,
// with the expectations that judge it drawn over it. Every label stays out of
// the plotting area: numbered tags in the margins, words in a legend below.
#pragma once

#include "Expectation.h"
#include "StepReport.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

class CSvgPlot
{
public:
    // EXPECTATIONS: those that judge this block (none for a block they do not look at).
    QString Render(const SampleBlock_T& block, const std::vector<ExpectationResult_T>& expectations) const;
    // VALUE with one decimal into TEXT, as QString::number(VALUE, 'f', 1)
    // writes it, without allocating: a plot holds thousands.
    static void AppendFixed(double value, QByteArray& text);

private:
    struct Frame_T;
    struct Band_T;
    struct Peak_T;
    QString Axes(const Frame_T& frame) const;
    QString Windows(const Frame_T& frame, const std::vector<int>& froms) const;
    QString Bands(const Frame_T& frame, const std::vector<Band_T>& bands) const;
    QString Trace(const Frame_T& frame, const std::vector<int>& samples) const;
    QString Peaks(const Frame_T& frame, const std::vector<Peak_T>& peaks) const;
    QString Legend(const SampleBlock_T& block, const std::vector<Band_T>& bands, const std::vector<int>& froms,
                   const std::vector<Peak_T>& peaks, double& height) const;
};
