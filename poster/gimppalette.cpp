#include "gimppalette.h"

#include "colour.h"
#include "textlines.h"

#include <QRegularExpression>

namespace {

const QString Header = QStringLiteral("GIMP Palette");

// The Lab value a name such as "Lab 42 1 -34" gives, when it is one that
// paints as `rgb`.
bool labOfName(const QString &name, QRgb rgb, PaletteColour *colour)
{
    static const QRegularExpression pattern(
            QStringLiteral("^Lab (-?[0-9]{1,4}) (-?[0-9]{1,4}) (-?[0-9]{1,4})$"));
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return false;
    const int l = match.captured(1).toInt(), a = match.captured(2).toInt(),
              b = match.captured(3).toInt();
    // The range of rgbtolab(), which holds every mean of its values too.
    if (l < 0 || l > 100 || a < -128 || a > 127 || b < -128 || b > 127)
        return false;
    if ((lab2rgb(l, a, b) | 0xFF000000u) != (rgb | 0xFF000000u))
        return false;
    *colour = PaletteColour::ofLab(l, a, b, name);
    return true;
}

// "12", a whole number from 0 to 255.
bool channel(const QString &text, int *value)
{
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,3}$"));
    if (!digits.match(text).hasMatch())
        return false;
    *value = text.toInt();
    return *value <= 255;
}

// A colour line: three channels, then the name. Empty when it is one.
QString colourOfLine(const QString &line, PaletteColour *colour)
{
    static const QRegularExpression fields(QStringLiteral("^(\\S+)\\s+(\\S+)\\s+(\\S+)(\\s+.*)?$"));
    const QRegularExpressionMatch match = fields.match(line);
    if (!match.hasMatch())
        return QStringLiteral("expected a colour: red, green and blue from 0 to 255, then a name");
    int rgb[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i) {
        if (!channel(match.captured(i + 1), &rgb[i]))
            return QStringLiteral("'%1' is not a whole number from 0 to 255")
                    .arg(match.captured(i + 1));
    }
    const QString name = match.captured(4).trimmed();
    const QRgb value = qRgb(rgb[0], rgb[1], rgb[2]);
    if (!labOfName(name, value, colour))
        *colour = PaletteColour::ofRgb(value, name);
    return {};
}

bool fail(PaletteProblem *problem, int line, const QString &text)
{
    problem->line = line;
    problem->text = text;
    return false;
}

} // namespace

bool parseGimpPalette(const QByteArray &bytes, QList<PaletteColour> *colours,
                      PaletteProblem *problem)
{
    colours->clear();
    if (bytes.size() > MaxPaletteFileBytes)
        return fail(problem, 0,
                    QStringLiteral("larger than %1 bytes: not a palette").arg(MaxPaletteFileBytes));
    const TextLines text = textLines(bytes);
    for (int i = 0; i < text.lines.size(); ++i) {
        const int number = i + 1;
        const QString line = text.lines.at(i).trimmed();
        if (i == 0) {
            if (line != Header)
                return fail(problem, number,
                            QStringLiteral("not a GIMP palette: the first line must be '%1'")
                                    .arg(Header));
            continue;
        }
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))
            || line.startsWith(QLatin1String("Name:"))
            || line.startsWith(QLatin1String("Columns:")))
            continue;
        if (colours->size() == MaxPaletteColours)
            return fail(problem, number,
                        QStringLiteral("more than %1 colours, the most a poster tells apart")
                                .arg(MaxPaletteColours));
        PaletteColour colour;
        const QString wrong = colourOfLine(line, &colour);
        if (!wrong.isEmpty())
            return fail(problem, number, wrong);
        colours->append(colour);
    }
    if (text.badLine > 0)
        return fail(problem, text.badLine, text.problem);
    if (colours->isEmpty())
        return fail(problem, 0, QStringLiteral("no colours"));
    return true;
}

QByteArray gimpPaletteText(const QList<PaletteColour> &colours, const QString &title)
{
    QString name = title;
    name.replace(QRegularExpression(QStringLiteral("[\\r\\n]")), QStringLiteral(" "));
    QString text = Header + QStringLiteral("\nName: ") + name + QStringLiteral("\nColumns: 0\n#\n");
    for (const PaletteColour &colour : colours)
        text += QStringLiteral("%1 %2 %3\tLab %4 %5 %6\n")
                        .arg(qRed(colour.rgb), 3)
                        .arg(qGreen(colour.rgb), 3)
                        .arg(qBlue(colour.rgb), 3)
                        .arg(colour.l)
                        .arg(colour.a)
                        .arg(colour.b);
    return text.toUtf8();
}
