#include "SvgPlot.h"

#include "HtmlPage.h"
#include "HtmlReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <set>

namespace
{
const double c_Width = 900;
// The plotting area; the margins hold the axes, tags and labels.
const double c_Left = 64;
const double c_Right = 852;
const double c_Top = 48;
const double c_Bottom = 300;
const double c_LabelRow = 16;  // "from N" labels above the plotting area
const double c_TagRow = 38;    // tags of index ranges above it; tags of value ranges right of it
const double c_TagSize = 16;
const double c_LegendTop = 366;
const double c_LegendRow = 20;
const double c_CharWidth = 8;  // generous for 12 px sans-serif, so estimated widths never overlap

const char* const c_Met = "#2e9e44";
const char* const c_Unmet = "#d0342c";
const char* const c_Trace = "#1f4e9c";
const char* const c_Peak = "#ff8c00";
const char* const c_Window = "#555555";

// A round step that gives about five ticks over span.
double TickStep(double span)
{
    const double raw = std::max(span, 1.0) / 5;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0})
        if (raw <= factor * power)
            return factor * power;
    return 10 * power;
}

QString N(double value)
{
    QByteArray text;
    CSvgPlot::AppendFixed(value, text);
    return QString::fromLatin1(text);
}

QString E(const QString& text)
{
    return CHtmlPage::Escape(text);
}

// An open side is infinite here; it reaches the plot's edge once the frame is known.
bool Range(const ExpectationResult_T& expectation, double& min, double& max)
{
    const QStringList parts = expectation.expected.split("..");
    const bool openLow = parts.size() == 2 && parts.first().isEmpty();
    const bool openHigh = parts.size() == 2 && parts.last().isEmpty();
    if (parts.size() > 2 || (openLow && openHigh))
        return false;
    bool ok1 = openLow;
    bool ok2 = openHigh;
    min = openLow ? -HUGE_VAL : parts.first().toDouble(&ok1);
    max = openHigh ? HUGE_VAL : parts.last().toDouble(&ok2);
    return ok1 && ok2 && (openLow || std::isfinite(min)) && (openHigh || std::isfinite(max));
}

bool IsSampleKey(const QString& key)
{
    return key == "samples" || key == "peak" || key == "peak-index" || key == "mean";
}

// Places labels of SIZES along one axis, each where it WANTS or just after the
// one before it, so that none overlaps another.
std::vector<double> Spread(const std::vector<double>& wants, const std::vector<double>& sizes)
{
    std::vector<size_t> order(wants.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return wants[a] < wants[b]; });
    std::vector<double> at(wants.size());
    double free = -1e9;
    for (size_t i : order)
    {
        at[i] = std::max(wants[i], free);
        free = at[i] + sizes[i];
    }
    return at;
}
}

struct CSvgPlot::Frame_T
{
    double xMax = 1;  // last sample index
    double yMin = 0;
    double yMax = 1;
    double X(double index) const { return c_Left + std::clamp(index, 0.0, xMax) / xMax * (c_Right - c_Left); }
    double Y(double value) const
    {
        return c_Bottom - (std::clamp(value, yMin, yMax) - yMin) / (yMax - yMin) * (c_Bottom - c_Top);
    }
};

struct CSvgPlot::Band_T
{
    const ExpectationResult_T* expectation = nullptr;
    double min = 0;
    double max = 0;
    int number = 0;  // its tag and legend entry
    bool indices() const { return expectation->key == "peak-index"; }
    const char* colour() const { return expectation->met ? c_Met : c_Unmet; }
};

struct CSvgPlot::Peak_T
{
    int from = 0;
    size_t index = 0;
    int value = 0;
};

QString CSvgPlot::Render(const SampleBlock_T& block, const std::vector<ExpectationResult_T>& expectations) const
{
    const std::vector<int>& samples = block.samples;
    Frame_T frame;
    frame.xMax = std::max<double>(1, static_cast<double>(samples.size()) - 1);
    for (int sample : samples)
    {
        frame.yMin = std::min<double>(frame.yMin, sample);
        frame.yMax = std::max<double>(frame.yMax, sample);
    }
    std::vector<Band_T> bands;
    std::set<int> windows;
    std::set<int> peakFroms;
    for (const ExpectationResult_T& expectation : expectations)
    {
        Band_T band;
        band.expectation = &expectation;
        const bool ranged = Range(expectation, band.min, band.max);
        if (ranged && (expectation.key == "peak" || expectation.key == "mean"))
        {
            frame.yMin = std::isfinite(band.min) ? std::min(frame.yMin, band.min) : frame.yMin;
            frame.yMax = std::isfinite(band.max) ? std::max(frame.yMax, band.max) : frame.yMax;
        }
        if (ranged && (expectation.key == "peak" || expectation.key == "mean" || expectation.key == "peak-index"))
        {
            band.number = static_cast<int>(bands.size()) + 1;
            bands.push_back(band);
        }
        if (IsSampleKey(expectation.key) && expectation.from > 0)
            windows.insert(expectation.from);
        if (expectation.key == "peak" || expectation.key == "peak-index")
            peakFroms.insert(expectation.from);
    }
    frame.yMax = std::ceil(frame.yMax * 1.05);
    for (Band_T& band : bands)
    {
        band.min = std::isfinite(band.min) ? band.min : band.indices() ? 0 : frame.yMin;
        band.max = std::isfinite(band.max) ? band.max : band.indices() ? frame.xMax : frame.yMax;
    }
    if (peakFroms.empty())
        peakFroms.insert(0);
    std::vector<Peak_T> peaks;
    for (int from : peakFroms)
        if (static_cast<size_t>(from) < samples.size())
        {
            // The first of equal peaks, as the expectations measure it.
            const auto peak = std::max_element(samples.begin() + from, samples.end());
            peaks.push_back({from, static_cast<size_t>(peak - samples.begin()), *peak});
        }

    double height = 0;
    const QString legend = Legend(block, bands, std::vector<int>(windows.begin(), windows.end()), peaks, height);
    QString svg = QString("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" "
                          "viewBox=\"0 0 %1 %2\" font-family=\"sans-serif\" font-size=\"12\">\n")
                      .arg(c_Width)
                      .arg(height);
    svg += "<rect x=\"0\" y=\"0\" width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
    svg += Windows(frame, std::vector<int>(windows.begin(), windows.end()));
    svg += Bands(frame, bands);
    svg += Trace(frame, samples);
    svg += Peaks(frame, peaks);
    svg += Axes(frame);
    return svg + legend + "</svg>\n";
}

QString CSvgPlot::Axes(const Frame_T& frame) const
{
    QString svg = QString("<g class=\"axes\" stroke=\"#000000\"><line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\"/>"
                          "<line x1=\"%1\" y1=\"%4\" x2=\"%1\" y2=\"%2\"/></g>\n")
                      .arg(N(c_Left), N(c_Bottom), N(c_Right), N(c_Top));
    const double xStep = TickStep(frame.xMax);
    for (double x = 0; x <= frame.xMax + 1e-9; x += xStep)
        svg += QString("<line x1=\"%1\" y1=\"%2\" x2=\"%1\" y2=\"%3\" stroke=\"#000000\"/>"
                       "<text x=\"%1\" y=\"%4\" text-anchor=\"middle\">%5</text>\n")
                   .arg(N(frame.X(x)), N(c_Bottom), N(c_Bottom + 5), N(c_Bottom + 18))
                   .arg(x);
    const double yStep = TickStep(frame.yMax - frame.yMin);
    for (double y = std::ceil(frame.yMin / yStep) * yStep; y <= frame.yMax + 1e-9; y += yStep)
        svg += QString("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"#000000\"/>"
                       "<text x=\"%4\" y=\"%5\" text-anchor=\"end\">%6</text>\n")
                   .arg(N(c_Left - 5), N(frame.Y(y)), N(c_Left), N(c_Left - 8), N(frame.Y(y) + 4))
                   .arg(y);
    svg += QString("<text class=\"x-label\" x=\"%1\" y=\"%2\" text-anchor=\"middle\">sample index</text>\n")
               .arg(N((c_Left + c_Right) / 2), N(c_Bottom + 38));
    svg += QString("<text class=\"y-label\" x=\"16\" y=\"%1\" text-anchor=\"middle\" "
                   "transform=\"rotate(-90 16 %1)\">amplitude</text>\n")
               .arg(N((c_Top + c_Bottom) / 2));
    return svg;
}

QString CSvgPlot::Windows(const Frame_T& frame, const std::vector<int>& froms) const
{
    // The samples a window leaves out are shaded, its first one has a line.
    std::vector<double> wants;
    std::vector<double> sizes;
    for (int from : froms)
    {
        const double width = (5 + QString::number(from).size()) * c_CharWidth;
        wants.push_back(std::min(frame.X(from) - 2, c_Width - width));
        sizes.push_back(width);
    }
    const std::vector<double> at = Spread(wants, sizes);
    QString svg;
    for (size_t i = 0; i < froms.size(); ++i)
    {
        const double x = frame.X(froms[i]);
        svg += QString("<g class=\"window\"><rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"%5\" "
                       "fill-opacity=\"0.15\"/><line x1=\"%6\" y1=\"%7\" x2=\"%6\" y2=\"%8\" stroke=\"%5\" "
                       "stroke-dasharray=\"2 2\"/><text x=\"%9\" y=\"%10\" fill=\"%5\">from %11</text></g>\n")
                   .arg(N(c_Left), N(c_Top), N(x - c_Left), N(c_Bottom - c_Top), c_Window, N(x), N(c_LabelRow + 4),
                        N(c_Bottom), N(at[i]))
                   .arg(N(c_LabelRow))
                   .arg(froms[i]);
    }
    return svg;
}

QString CSvgPlot::Bands(const Frame_T& frame, const std::vector<Band_T>& bands) const
{
    // Value ranges span the samples their window looks at; index ranges the whole height.
    std::vector<double> acrossWants, downWants;
    for (const Band_T& band : bands)
    {
        if (band.indices())
            acrossWants.push_back((frame.X(band.min) + frame.X(band.max)) / 2 - c_TagSize / 2);
        else
            downWants.push_back((frame.Y(band.min) + frame.Y(band.max)) / 2 - c_TagSize / 2);
    }
    const std::vector<double> across = Spread(acrossWants, std::vector<double>(acrossWants.size(), c_TagSize));
    const std::vector<double> down = Spread(downWants, std::vector<double>(downWants.size(), c_TagSize));
    size_t nextAcross = 0;
    size_t nextDown = 0;
    QString svg;
    for (const Band_T& band : bands)
    {
        double x = frame.X(band.expectation->from);
        double width = c_Right - x;
        double y = frame.Y(band.max);
        double height = frame.Y(band.min) - y;
        double tagX = c_Right + 6;
        double tagY = 0;
        if (band.indices())
        {
            x = frame.X(band.min);
            width = frame.X(band.max) - x;
            y = c_Top;
            height = c_Bottom - c_Top;
            tagX = across[nextAcross++] + c_TagSize / 2;
            tagY = c_TagRow;
        }
        else
            tagY = down[nextDown++] + c_TagSize - 4;
        // A range of one value still shows.
        x -= std::max(0.0, 2 - width) / 2;
        width = std::max(2.0, width);
        y -= std::max(0.0, 2 - height) / 2;
        height = std::max(2.0, height);
        svg += "<g class=\"range " + E(band.expectation->key) + "\">" +
               QString("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"%5\" fill-opacity=\"0.18\" "
                       "stroke=\"%5\" stroke-dasharray=\"4 3\"/><text x=\"%6\" y=\"%7\" fill=\"%5\" "
                       "font-weight=\"bold\"%8>%9</text></g>\n")
                   .arg(N(x), N(y), N(width), N(height), band.colour(), N(tagX), N(tagY),
                        band.indices() ? " text-anchor=\"middle\"" : "", QString::number(band.number));
    }
    return svg;
}

void CSvgPlot::AppendFixed(double value, QByteArray& text)
{
    if (!std::isfinite(value) || std::fabs(value) >= 1e15)
    {
        text += QByteArray::number(value, 'f', 1);
        return;
    }
    // printf rounds an exact tie (x.25, x.75) to even, Qt away from zero; Qt drops the sign of a zero.
    if (value == 0)
        value = 0;
    const double quarters = std::fabs(value) * 4;
    const bool tie = quarters == std::floor(quarters) && std::fmod(quarters, 2) == 1;
    char digits[32];
    const int length = std::snprintf(digits, sizeof digits, "%.1f", tie ? value + std::copysign(0.05, value) : value);
    text.append(digits, length);
}

QString CSvgPlot::Trace(const Frame_T& frame, const std::vector<int>& samples) const
{
    QByteArray points;
    points.reserve(static_cast<int>(samples.size()) * 12);
    for (size_t i = 0; i < samples.size(); ++i)
    {
        if (i > 0)
            points += ' ';
        AppendFixed(frame.X(static_cast<double>(i)), points);
        points += ',';
        AppendFixed(frame.Y(samples[i]), points);
    }
    return QString("<polyline class=\"samples\" fill=\"none\" stroke=\"%1\" stroke-width=\"1.2\" "
                   "points=\"%2\"/>\n")
        .arg(c_Trace, QString::fromLatin1(points));
}

QString CSvgPlot::Peaks(const Frame_T& frame, const std::vector<Peak_T>& peaks) const
{
    QString svg;
    for (const Peak_T& peak : peaks)
        svg += QString("<circle class=\"peak\" cx=\"%1\" cy=\"%2\" r=\"5\" fill=\"%3\" stroke=\"#ffffff\"/>\n")
                   .arg(N(frame.X(static_cast<double>(peak.index))), N(frame.Y(peak.value)), c_Peak);
    return svg;
}

QString CSvgPlot::Legend(const SampleBlock_T& block, const std::vector<Band_T>& bands, const std::vector<int>& froms,
                         const std::vector<Peak_T>& peaks, double& height) const
{
    QStringList rows;  // each a swatch at (0, 0) to (16, -12) and words after it
    rows += QString("<line x1=\"0\" y1=\"-5\" x2=\"16\" y2=\"-5\" stroke=\"%1\" stroke-width=\"2\"/>"
                    "<text x=\"24\">%2 samples</text>")
                .arg(c_Trace)
                .arg(block.samples.size());
    for (const Band_T& band : bands)
    {
        const ExpectationResult_T& expectation = *band.expectation;
        rows += QString("<rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" fill=\"%1\" fill-opacity=\"0.18\" "
                        "stroke=\"%1\" stroke-dasharray=\"4 3\"/><text x=\"24\"><tspan fill=\"%1\" "
                        "font-weight=\"bold\">%2</tspan> %3: expected %4, measured %5, %6</text>")
                    .arg(band.colour())
                    .arg(band.number)
                    .arg(E(expectation.Label()), E(expectation.expected), E(CHtmlReport::Measured(expectation)),
                         expectation.met ? "met" : "NOT met");
    }
    for (int from : froms)
        rows += QString("<rect x=\"0\" y=\"-11\" width=\"16\" height=\"10\" fill=\"%1\" fill-opacity=\"0.15\" "
                        "stroke=\"%1\" stroke-dasharray=\"2 2\"/><text x=\"24\">from %2: the samples before "
                        "index %2 are left out</text>")
                    .arg(c_Window)
                    .arg(from);
    for (const Peak_T& peak : peaks)
        rows += QString("<circle cx=\"8\" cy=\"-5\" r=\"5\" fill=\"%1\"/><text x=\"24\">%2: %3 at index %4</text>")
                    .arg(c_Peak, peak.from > 0 ? QString("peak from %1").arg(peak.from) : QString("peak"))
                    .arg(peak.value)
                    .arg(peak.index);
    QString svg = "<g class=\"legend\">\n";
    for (int i = 0; i < rows.size(); ++i)
        svg += QString("<g transform=\"translate(%1 %2)\">%3</g>\n")
                   .arg(N(c_Left), N(c_LegendTop + i * c_LegendRow), rows[i]);
    height = c_LegendTop + rows.size() * c_LegendRow;
    return svg + "</g>\n";
}
