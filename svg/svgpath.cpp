#include "svgpath.h"

#include <charconv>
#include <cstdlib>
#include <vector>

void appendHalves(QByteArray &out, qint64 halves)
{
    char text[24];
    char *end = text;
    if (halves < 0)
        *end++ = '-';
    const qint64 magnitude = std::llabs(halves);
    if (magnitude >= 2 || magnitude == 0)
        end = std::to_chars(end, text + sizeof text, magnitude / 2).ptr;
    if (magnitude % 2) {
        *end++ = '.';
        *end++ = '5';
    }
    out.append(text, qsizetype(end - text));
}

namespace {

// Writes commands relative to the current point, in half pixels.
class PathWriter
{
public:
    explicit PathWriter(QByteArray &out)
        : m_out(out)
    {
    }

    void moveTo(qint64 x, qint64 y)
    {
        if (m_started) {
            command('m');
            number(x - m_startX);
            number(y - m_startY);
        } else {
            command('M');
            number(x);
            number(y);
            m_started = true;
        }
        m_x = m_startX = x;
        m_y = m_startY = y;
        // An "m" followed by bare numbers would be a line: always name the
        // next command.
        m_last = 0;
    }
    void lineTo(qint64 x, qint64 y)
    {
        if (x == m_x && y == m_y)
            return;
        if (y == m_y) {
            command('h');
            number(x - m_x);
        } else if (x == m_x) {
            command('v');
            number(y - m_y);
        } else {
            command('l');
            number(x - m_x);
            number(y - m_y);
        }
        m_x = x;
        m_y = y;
    }
    void quadTo(qint64 cx, qint64 cy, qint64 x, qint64 y)
    {
        command('q');
        number(cx - m_x);
        number(cy - m_y);
        number(x - m_x);
        number(y - m_y);
        m_x = x;
        m_y = y;
    }
    void close()
    {
        m_out.append('z');
        m_last = 0;
        m_x = m_startX;
        m_y = m_startY;
    }

private:
    void command(char letter)
    {
        if (letter != m_last) {
            m_out.append(letter);
            m_fresh = true;
        }
        m_last = letter;
    }
    void number(qint64 halves)
    {
        if (!m_fresh && halves >= 0)
            m_out.append(' ');
        appendHalves(m_out, halves);
        m_fresh = false;
    }

    QByteArray &m_out;
    bool m_started = false;
    bool m_fresh = true;
    char m_last = 0;
    qint64 m_x = 0;
    qint64 m_y = 0;
    qint64 m_startX = 0;
    qint64 m_startY = 0;
};

} // namespace

void appendRegionPath(QByteArray &out, const Tracing &tracing, int region)
{
    PathWriter path(out);
    std::vector<unsigned char> rounded;
    for (qint32 l = tracing.regionLoopStart[size_t(region)];
         l < tracing.regionLoopStart[size_t(region) + 1]; ++l) {
        rounded.clear();
        const std::vector<TracePoint> points = tracing.loopPoints(l, &rounded);
        const size_t n = points.size();
        path.moveTo(2 * qint64(points[0].x), 2 * qint64(points[0].y));
        // The loop's start is the end of a chain, never rounded: "z" draws
        // the last straight piece back to it.
        for (size_t i = 1; i < n; ++i) {
            const TracePoint p = points[i];
            if (!rounded[i]) {
                path.lineTo(2 * qint64(p.x), 2 * qint64(p.y));
                continue;
            }
            const TracePoint before = points[i - 1];
            const TracePoint after = points[(i + 1) % n];
            path.lineTo(qint64(before.x) + p.x, qint64(before.y) + p.y);
            path.quadTo(2 * qint64(p.x), 2 * qint64(p.y), qint64(p.x) + after.x,
                        qint64(p.y) + after.y);
        }
        path.close();
    }
}
