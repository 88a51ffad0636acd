#include "DashboardCharts.h"

#include "HtmlPage.h"

#include <algorithm>
#include <cmath>

namespace
{
const double c_Width = 900;
const double c_Left = 72;
const double c_Right = 852;
const double c_Height = 300;  // one chart's band: its plot, axes and legend row
const double c_PlotTop = 16;
const double c_PlotBottom = 236;
const int c_XLabels = 8;

const char* const c_Fpy = "#1f4e9c";
const char* const c_Lpy = "#2e9e44";
const char* const c_Value = "#1f4e9c";
const char* const c_Centre = "#2e9e44";
const char* const c_Limit = "#d0342c";
const char* const c_Flag = "#d0342c";

QString N(double value)
{
    return QString::number(value, 'f', 1);
}

QString V(double value)
{
    return QString::number(value, 'g', 6);
}

QString Svg(double height, const QString& cls, const QString& body)
{
    return QString("<svg class=\"%1\" xmlns=\"http://www.w3.org/2000/svg\" width=\"%2\" height=\"%3\" "
                   "viewBox=\"0 0 %2 %3\" font-family=\"sans-serif\" font-size=\"12\">\n"
                   "<rect x=\"0\" y=\"0\" width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n")
               .arg(cls, N(c_Width), N(height)) +
           body + "</svg>\n";
}

// A round step that gives about five ticks over SPAN.
double TickStep(double span)
{
    const double raw = span > 0 ? span / 5 : 1;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0})
        if (raw <= factor * power)
            return factor * power;
    return 10 * power;
}
}

struct CDashboardCharts::Frame_T
{
    double top = 0;  // of the chart's band
    size_t count = 1;
    double yMin = 0;
    double yMax = 1;
    bool percent = false;
    std::vector<QString> xLabels;  // one a point; empty ones get no tick
    double X(size_t i) const
    {
        return count <= 1 ? (c_Left + c_Right) / 2
                          : c_Left + static_cast<double>(i) / static_cast<double>(count - 1) * (c_Right - c_Left);
    }
    double Y(double value) const
    {
        const double span = yMax > yMin ? yMax - yMin : 1;
        return top + c_PlotBottom - (std::clamp(value, yMin, yMax) - yMin) / span * (c_PlotBottom - c_PlotTop);
    }
};

QString CDashboardCharts::Axes(const Frame_T& frame, const QString& yLabel)
{
    const double top = frame.top + c_PlotTop;
    const double bottom = frame.top + c_PlotBottom;
    QString svg = QString("<g class=\"axes\" stroke=\"#000000\"><line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\"/>"
                          "<line x1=\"%1\" y1=\"%4\" x2=\"%1\" y2=\"%2\"/></g>\n")
                      .arg(N(c_Left), N(bottom), N(c_Right), N(top));
    const double step = frame.percent ? 0.25 : TickStep(frame.yMax - frame.yMin);
    for (double y = std::ceil(frame.yMin / step) * step; y <= frame.yMax + step * 1e-9; y += step)
        svg += QString("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"#000000\"/>"
                       "<text x=\"%4\" y=\"%5\" text-anchor=\"end\">%6</text>\n")
                   .arg(N(c_Left - 5), N(frame.Y(y)), N(c_Left), N(c_Left - 8), N(frame.Y(y) + 4),
                        frame.percent ? QString::number(std::lround(y * 100)) + " %"
                                      : V(std::abs(y) < step * 1e-9 ? 0 : y));
    for (size_t i = 0; i < frame.xLabels.size(); ++i)
        if (!frame.xLabels[i].isEmpty())
            svg +=
                QString("<line x1=\"%1\" y1=\"%2\" x2=\"%1\" y2=\"%3\" stroke=\"#000000\"/>"
                        "<text x=\"%1\" y=\"%4\" text-anchor=\"middle\">%5</text>\n")
                    .arg(N(frame.X(i)), N(bottom), N(bottom + 5), N(bottom + 18), CHtmlPage::Escape(frame.xLabels[i]));
    svg += QString("<text class=\"y-label\" x=\"14\" y=\"%1\" text-anchor=\"middle\" "
                   "transform=\"rotate(-90 14 %1)\">%2</text>\n")
               .arg(N((top + bottom) / 2), CHtmlPage::Escape(yLabel));
    return svg;
}

QString CDashboardCharts::Level(const Frame_T& frame, double value, const QString& name, const char* colour)
{
    // Its name right of the plot, so no word lies over a point.
    return QString("<g class=\"level\"><line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"%4\" "
                   "stroke-dasharray=\"6 3\"/><text x=\"%5\" y=\"%6\" fill=\"%4\">%7</text></g>\n")
        .arg(N(c_Left), N(frame.Y(value)), N(c_Right), colour, N(c_Right + 4), N(frame.Y(value) + 4), name);
}

QString CDashboardCharts::Lines(const Frame_T& frame, const std::vector<std::optional<double>>& values,
                                const char* colour, const QString& name)
{
    // A point without a value breaks the line.
    QString svg = QString("<g class=\"%1\" stroke=\"%2\" fill=\"%2\">").arg(name, colour);
    QString points;
    const auto flush = [&]() {
        if (points.count(' ') > 1)
            svg += QString("<polyline fill=\"none\" stroke-width=\"1.5\" points=\"%1\"/>").arg(points.trimmed());
        points.clear();
    };
    for (size_t i = 0; i < values.size(); ++i)
    {
        if (!values[i])
        {
            flush();
            continue;
        }
        points += N(frame.X(i)) + "," + N(frame.Y(*values[i])) + " ";
        svg += QString("<circle cx=\"%1\" cy=\"%2\" r=\"2.5\"/>").arg(N(frame.X(i)), N(frame.Y(*values[i])));
    }
    flush();
    return svg + "</g>\n";
}

QString CDashboardCharts::Yield(const std::vector<YieldRow_T>& days)
{
    Frame_T frame;
    frame.count = days.size();
    frame.percent = true;
    std::vector<std::optional<double>> fpy, lpy;
    const size_t every = std::max<size_t>(1, (days.size() + c_XLabels - 1) / c_XLabels);
    for (size_t i = 0; i < days.size(); ++i)
    {
        fpy.push_back(days[i].fpy);
        lpy.push_back(days[i].lpy);
        frame.xLabels.push_back(i % every == 0 ? days[i].group.mid(5) : QString());
    }
    QString body = Axes(frame, "units");
    body += Lines(frame, lpy, c_Lpy, "lpy") + Lines(frame, fpy, c_Fpy, "fpy");
    const double y = c_PlotBottom + 44;
    body += QString("<g class=\"legend\"><line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"%4\" "
                    "stroke-width=\"2\"/><text x=\"%5\" y=\"%6\">first-pass yield (FPY)</text>"
                    "<line x1=\"%7\" y1=\"%2\" x2=\"%8\" y2=\"%2\" stroke=\"%9\" stroke-width=\"2\"/>"
                    "<text x=\"%10\" y=\"%6\">last-pass yield (LPY)</text></g>\n")
                .arg(N(c_Left), N(y - 4), N(c_Left + 16), c_Fpy, N(c_Left + 22), N(y), N(c_Left + 240), N(c_Left + 256),
                     c_Lpy)
                .arg(N(c_Left + 262));
    return Svg(c_Height, "yield-chart", body);
}

QString CDashboardCharts::Individuals(const ControlChart_T& chart, size_t first, double top)
{
    Frame_T frame;
    frame.top = top;
    frame.count = chart.points.size() - first;
    std::vector<std::optional<double>> values;
    double low = chart.points[first].value;
    double high = low;
    for (size_t i = first; i < chart.points.size(); ++i)
    {
        values.push_back(chart.points[i].value);
        low = std::min(low, chart.points[i].value);
        high = std::max(high, chart.points[i].value);
        const size_t every = std::max<size_t>(1, (frame.count + c_XLabels - 1) / c_XLabels);
        frame.xLabels.push_back((i - first) % every == 0 ? QString::number(i + 1) : QString());
    }
    for (const std::optional<double>& level : {chart.lcl, chart.ucl})
        if (level)
        {
            low = std::min(low, *level);
            high = std::max(high, *level);
        }
    const double margin = high > low ? (high - low) * 0.05 : std::max(1.0, std::abs(high) * 0.05);
    frame.yMin = low - margin;
    frame.yMax = high + margin;
    QString svg = Axes(frame, "value");
    if (chart.centre)
        svg += Level(frame, *chart.centre, "CL", c_Centre);
    if (chart.ucl)
        svg += Level(frame, *chart.ucl, "UCL", c_Limit);
    if (chart.lcl)
        svg += Level(frame, *chart.lcl, "LCL", c_Limit);
    svg += Lines(frame, values, c_Value, "values");
    int number = 0;
    for (size_t i = 0; i < first; ++i)
        number += chart.points[i].rules.isEmpty() ? 0 : 1;
    for (size_t i = first; i < chart.points.size(); ++i)
    {
        const ControlPoint_T& point = chart.points[i];
        if (point.rules.isEmpty())
            continue;
        const double x = frame.X(i - first);
        const double y = frame.Y(point.value);
        svg += QString("<g class=\"flag\"><title>%1</title><circle cx=\"%2\" cy=\"%3\" r=\"5\" fill=\"none\" "
                       "stroke=\"%4\" stroke-width=\"2\"/><text x=\"%2\" y=\"%5\" fill=\"%4\" "
                       "text-anchor=\"middle\" font-weight=\"bold\">%6</text></g>\n")
                   .arg(CHtmlPage::Escape(point.rules.join(", ")), N(x), N(y), c_Flag, N(y - 8))
                   .arg(++number);
    }
    return svg;
}

QString CDashboardCharts::MovingRanges(const ControlChart_T& chart, size_t first, double top)
{
    Frame_T frame;
    frame.top = top;
    frame.count = chart.points.size() - first;
    std::vector<std::optional<double>> ranges;
    double high = chart.mrUcl.value_or(0);
    for (size_t i = first; i < chart.points.size(); ++i)
    {
        ranges.push_back(chart.points[i].movingRange);
        high = std::max(high, chart.points[i].movingRange.value_or(0));
        const size_t every = std::max<size_t>(1, (frame.count + c_XLabels - 1) / c_XLabels);
        frame.xLabels.push_back((i - first) % every == 0 ? QString::number(i + 1) : QString());
    }
    frame.yMax = high > 0 ? high * 1.05 : 1;
    QString svg = Axes(frame, "moving range");
    if (chart.mrCentre)
        svg += Level(frame, *chart.mrCentre, "MR", c_Centre);
    if (chart.mrUcl)
        svg += Level(frame, *chart.mrUcl, "UCL", c_Limit);
    return svg + Lines(frame, ranges, c_Value, "ranges");
}

QString CDashboardCharts::Control(const ControlChart_T& chart, size_t first)
{
    if (first >= chart.points.size())
        return QString();
    return Svg(2 * c_Height - 40, "control-chart",
               Individuals(chart, first, 0) + MovingRanges(chart, first, c_Height - 40));
}
