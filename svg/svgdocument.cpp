#include "svgdocument.h"

#include "svgpath.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <vector>

namespace {

void appendColour(QByteArray &out, quint32 rgb)
{
    static const char digits[] = "0123456789abcdef";
    out.append('#');
    for (int shift = 20; shift >= 0; shift -= 4)
        out.append(digits[(rgb >> shift) & 0xF]);
}

void appendNumber(QByteArray &out, qint64 value)
{
    appendHalves(out, 2 * value);
}

// A length for width or height: pixels, or millimetres at the resolution.
void appendLength(QByteArray &out, int pixels, int dotsPerMeter)
{
    if (dotsPerMeter <= 0) {
        appendNumber(out, pixels);
        return;
    }
    out.append(QByteArray::number(pixels * 1000.0 / dotsPerMeter, 'f', 2));
    out.append("mm");
}

// The colours of the regions, the largest total area first (on a tie, the
// smaller value first).
std::vector<quint32> coloursByArea(const Tracing &tracing)
{
    std::map<quint32, qint64> area;
    for (int r = 0; r < tracing.regionCount(); ++r)
        area[tracing.regionLabel[size_t(r)]] += tracing.regionArea[size_t(r)];
    std::vector<std::pair<qint64, quint32>> order;
    for (const auto &[colour, total] : area)
        order.emplace_back(-total, colour);
    std::sort(order.begin(), order.end());
    std::vector<quint32> colours;
    for (const auto &entry : order)
        colours.push_back(entry.second);
    return colours;
}

void appendFills(QByteArray &out, const Tracing &tracing, const std::vector<quint32> &colours)
{
    std::map<quint32, int> rank;
    for (size_t i = 0; i < colours.size(); ++i)
        rank[colours[i]] = int(i);
    std::vector<int> regions(size_t(tracing.regionCount()));
    std::iota(regions.begin(), regions.end(), 0);
    std::stable_sort(regions.begin(), regions.end(), [&](int a, int b) {
        return rank[tracing.regionLabel[size_t(a)]] < rank[tracing.regionLabel[size_t(b)]];
    });
    out.append("<g id=\"colours\">\n");
    quint32 open = 0;
    bool inGroup = false;
    for (int region : regions) {
        const quint32 colour = tracing.regionLabel[size_t(region)];
        if (!inGroup || colour != open) {
            if (inGroup)
                out.append("</g>\n");
            out.append("<g fill=\"");
            appendColour(out, colour);
            out.append("\">\n");
            open = colour;
            inGroup = true;
        }
        out.append("<path d=\"");
        appendRegionPath(out, tracing, region);
        out.append("\"/>\n");
    }
    if (inGroup)
        out.append("</g>\n");
    out.append("</g>\n");
}

void appendInk(QByteArray &out, const Tracing &ink, const VectorDrawing &drawing)
{
    out.append("<g id=\"ink\" fill=\"#000000\"");
    // Ink traced at another size than the colours is scaled to theirs.
    if (drawing.hasFills
        && (ink.width != drawing.fills.width || ink.height != drawing.fills.height)) {
        out.append(" transform=\"scale(");
        out.append(QByteArray::number(double(drawing.fills.width) / ink.width, 'g', 9));
        out.append(' ');
        out.append(QByteArray::number(double(drawing.fills.height) / ink.height, 'g', 9));
        out.append(")\"");
    }
    out.append(">\n");
    for (int r = 0; r < ink.regionCount(); ++r) {
        if (ink.regionLabel[size_t(r)] == 0)
            continue;
        out.append("<path d=\"");
        appendRegionPath(out, ink, r);
        out.append("\"/>\n");
    }
    out.append("</g>\n");
}

// A rough size of the text, so that the buffer grows once or twice at most.
qsizetype estimate(const VectorDrawing &drawing)
{
    qsizetype points = 0;
    if (drawing.hasFills)
        points += qsizetype(drawing.fills.points.size());
    if (drawing.hasInk)
        points += qsizetype(drawing.ink.points.size());
    return 1024 + points * 12;
}

} // namespace

QByteArray svgDocument(const VectorDrawing &drawing, const SvgResolution &resolution)
{
    const Tracing &frame = drawing.hasFills ? drawing.fills : drawing.ink;
    QByteArray out;
    out.reserve(estimate(drawing));
    out.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"");
    // At 96 dots per inch (Qt's own default) a CSS pixel is the size already.
    const bool physical = resolution.dotsPerMeterX > 0 && resolution.dotsPerMeterY > 0
            && (resolution.dotsPerMeterX != 3780 || resolution.dotsPerMeterY != 3780);
    appendLength(out, drawing.size.width(), physical ? resolution.dotsPerMeterX : 0);
    out.append("\" height=\"");
    appendLength(out, drawing.size.height(), physical ? resolution.dotsPerMeterY : 0);
    out.append("\" viewBox=\"0 0 ");
    appendNumber(out, frame.width);
    out.append(' ');
    appendNumber(out, frame.height);
    out.append("\">\n");
    const std::vector<quint32> colours
            = drawing.hasFills ? coloursByArea(drawing.fills) : std::vector<quint32>();
    out.append("<rect id=\"backdrop\" width=\"");
    appendNumber(out, frame.width);
    out.append("\" height=\"");
    appendNumber(out, frame.height);
    out.append("\" fill=\"");
    appendColour(out, colours.empty() ? 0xFFFFFFu : colours.front());
    out.append("\"/>\n");
    if (drawing.hasFills)
        appendFills(out, drawing.fills, colours);
    if (drawing.hasInk)
        appendInk(out, drawing.ink, drawing);
    out.append("</svg>\n");
    return out;
}
