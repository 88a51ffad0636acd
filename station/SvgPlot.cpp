#include "SvgPlot.h"

#include <algorithm>
#include <cmath>

namespace
{
const double c_Width = 900;
const double c_Height = 320;
const double c_Left = 64;
const double c_Right = 16;
const double c_Top = 16;
const double c_Bottom = 48;

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
    return QString::number(value, 'f', 1);
}

bool Range(const ExpectationResult_T& expectation, double& min, double& max)
{
    const QStringList parts = expectation.expected.split("..");
    bool ok1 = false;
    bool ok2 = false;
    min = parts.first().toDouble(&ok1);
    max = parts.last().toDouble(&ok2);
    return ok1 && ok2;
}
}

struct CSvgPlot::Frame_T
{
    double xMax = 1;  // last sample index
    double yMin = 0;
    double yMax = 1;
    double X(double index) const { return c_Left + index / xMax * (c_Width - c_Left - c_Right); }
    double Y(double value) const
    {
        return c_Height - c_Bottom - (value - yMin) / (yMax - yMin) * (c_Height - c_Top - c_Bottom);
    }
};

QString CSvgPlot::Render(const SampleBlock_T& block, const std::vector<ExpectationResult_T>& expectations) const
{
    Frame_T frame;
    frame.xMax = std::max<double>(1, static_cast<double>(block.samples.size()) - 1);
    for (int sample : block.samples)
    {
        frame.yMin = std::min<double>(frame.yMin, sample);
        frame.yMax = std::max<double>(frame.yMax, sample);
    }
    double min = 0;
    double max = 0;
    for (const ExpectationResult_T& expectation : expectations)
        if ((expectation.key == "peak" || expectation.key == "mean") && Range(expectation, min, max))
            frame.yMax = std::max(frame.yMax, max);
    frame.yMax = std::ceil(frame.yMax * 1.05);

    QString svg = QString("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" "
                          "viewBox=\"0 0 %1 %2\" font-family=\"sans-serif\" font-size=\"12\">\n")
                      .arg(c_Width)
                      .arg(c_Height);
    svg += "<rect x=\"0\" y=\"0\" width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
    svg += Ranges(frame, expectations);
    svg += Trace(frame, block.samples);
    svg += Axes(frame);
    return svg + "</svg>\n";
}

QString CSvgPlot::Axes(const Frame_T& frame) const
{
    const double bottom = c_Height - c_Bottom;
    QString svg = QString("<g class=\"axes\" stroke=\"#000000\"><line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\"/>"
                          "<line x1=\"%1\" y1=\"%4\" x2=\"%1\" y2=\"%2\"/></g>\n")
                      .arg(N(c_Left), N(bottom), N(c_Width - c_Right), N(c_Top));
    const double xStep = TickStep(frame.xMax);
    for (double x = 0; x <= frame.xMax + 1e-9; x += xStep)
        svg += QString("<line x1=\"%1\" y1=\"%2\" x2=\"%1\" y2=\"%3\" stroke=\"#000000\"/>"
                       "<text x=\"%1\" y=\"%4\" text-anchor=\"middle\">%5</text>\n")
                   .arg(N(frame.X(x)), N(bottom), N(bottom + 5), N(bottom + 18))
                   .arg(x);
    const double yStep = TickStep(frame.yMax - frame.yMin);
    for (double y = std::ceil(frame.yMin / yStep) * yStep; y <= frame.yMax + 1e-9; y += yStep)
        svg += QString("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"#000000\"/>"
                       "<text x=\"%4\" y=\"%5\" text-anchor=\"end\">%6</text>\n")
                   .arg(N(c_Left - 5), N(frame.Y(y)), N(c_Left), N(c_Left - 8), N(frame.Y(y) + 4))
                   .arg(y);
    svg += QString("<text class=\"x-label\" x=\"%1\" y=\"%2\" text-anchor=\"middle\">sample index</text>\n")
               .arg(N((c_Left + c_Width - c_Right) / 2), N(c_Height - 8));
    svg += QString("<text class=\"y-label\" x=\"16\" y=\"%1\" text-anchor=\"middle\" "
                   "transform=\"rotate(-90 16 %1)\">amplitude</text>\n")
               .arg(N((c_Top + bottom) / 2));
    return svg;
}

QString CSvgPlot::Ranges(const Frame_T& frame, const std::vector<ExpectationResult_T>& expectations) const
{
    QString svg;
    for (const ExpectationResult_T& expectation : expectations)
    {
        double min = 0;
        double max = 0;
        const QString colour = expectation.met ? "#2e9e44" : "#d0342c";
        if ((expectation.key == "peak" || expectation.key == "mean") && Range(expectation, min, max))
        {
            const double top = frame.Y(std::min(max, frame.yMax));
            const double low = frame.Y(std::max(min, frame.yMin));
            svg += QString("<rect class=\"range %1\" x=\"%2\" y=\"%3\" width=\"%4\" height=\"%5\" fill=\"%6\" "
                           "fill-opacity=\"0.18\" stroke=\"%6\" stroke-dasharray=\"4 3\"/>"
                           "<text x=\"%7\" y=\"%8\" text-anchor=\"end\" fill=\"%6\">%1 %9</text>\n")
                       .arg(expectation.Label(), N(c_Left), N(top), N(c_Width - c_Right - c_Left))
                       .arg(N(std::max(1.0, low - top)), colour, N(c_Width - c_Right - 4), N(top + 13),
                            expectation.expected.toHtmlEscaped());
        }
        else if (expectation.key == "peak-index" && Range(expectation, min, max))
        {
            const double left = frame.X(std::max(0.0, min));
            const double right = frame.X(std::min(max, frame.xMax));
            svg +=
                QString("<rect class=\"range peak-index\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" "
                        "fill=\"%5\" fill-opacity=\"0.18\" stroke=\"%5\" stroke-dasharray=\"4 3\"/>"
                        "<text x=\"%6\" y=\"%7\" fill=\"%5\">%8</text>\n")
                    .arg(N(left), N(c_Top), N(std::max(1.0, right - left)), N(c_Height - c_Top - c_Bottom), colour)
                    .arg(N(left + 3), N(c_Top + 28), expectation.Label() + " " + expectation.expected.toHtmlEscaped());
        }
    }
    return svg;
}

QString CSvgPlot::Trace(const Frame_T& frame, const std::vector<int>& samples) const
{
    QString points;
    points.reserve(static_cast<int>(samples.size()) * 12);
    for (size_t i = 0; i < samples.size(); ++i)
        points += N(frame.X(static_cast<double>(i))) + "," + N(frame.Y(samples[i])) + " ";
    return QString("<polyline class=\"samples\" fill=\"none\" stroke=\"#1f4e9c\" stroke-width=\"1.2\" "
                   "points=\"%1\"/>\n")
        .arg(points.trimmed());
}
