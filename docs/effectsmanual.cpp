// Writes the manual page of kestrova-cli: the configured page with the
// effects and their options, from the table of effects, in place of the
// marker line. Run by the build:
//   kestrova-effects-manual PAGE.in PAGE

#include "effect.h"

#include <QFile>
#include <QString>
#include <QTextStream>

#include <cstdio>

namespace {

const QString Marker = QStringLiteral(".\\\" The effects and their options come here.");

// Option names and other words as roff prints them literally.
QString roffWord(const char *text)
{
    return QString::fromLatin1(text).replace(QLatin1Char('-'), QLatin1String("\\-"));
}

QString sentence(const char *text)
{
    QString line = QString::fromLatin1(text);
    if (!line.isEmpty())
        line[0] = line[0].toUpper();
    return line;
}

QString settingEntry(const EffectSetting &setting)
{
    return QStringLiteral(".TP\n.BI \\-\\-%1 \" N\"\n%2, %3 to %4 (default %5).\n")
            .arg(roffWord(setting.name), sentence(setting.help))
            .arg(setting.minimum)
            .arg(setting.maximum)
            .arg(setting.defaultValue);
}

QString effectEntry(const Effect &effect)
{
    QString text = QStringLiteral(".TP\n.B %1\n%2\n.RS\n")
                           .arg(roffWord(effect.name),
                                effect.notes ? QString::fromLatin1(effect.notes)
                                             : sentence(effect.description) + QLatin1Char('.'));
    for (const EffectSetting &setting : effect.settings)
        text += settingEntry(setting);
    if (effect.contourLayer)
        text += QStringLiteral(".TP\n.B \\-\\-no\\-contour\nLeave the outlines out.\n");
    if (effect.photoColours)
        text += QStringLiteral(".PP\nIts colours are the photograph's own: the drawing carries "
                               "the photograph's\ncolour profile.\n");
    if (effect.transparentLines)
        text += QStringLiteral(".TP\n.B \\-\\-transparent\n"
                               "Black lines on a transparent layer instead of grey on white: a "
                               "pixel of grey\n.I g\nbecomes black of opacity 255 \\(mi\n.IR g "
                               ",\nso that the layer laid over white is the drawing again. PNG "
                               "only.\n");
    return text + QStringLiteral(".RE\n");
}

QString effectsSection()
{
    QString text = QStringLiteral(".SH EFFECTS\nEvery option below takes a whole number; the "
                                  "defaults are the window's\ninitial slider positions.\n");
    for (const Effect &effect : effects())
        text += effectEntry(effect);
    return text;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: kestrova-effects-manual PAGE.in PAGE\n");
        return 2;
    }
    QFile in(QString::fromLocal8Bit(argv[1]));
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text)) {
        std::fprintf(stderr, "kestrova-effects-manual: cannot read %s\n", argv[1]);
        return 1;
    }
    QString page = QString::fromUtf8(in.readAll());
    const qsizetype at = page.indexOf(Marker + QLatin1Char('\n'));
    if (at < 0) {
        std::fprintf(stderr, "kestrova-effects-manual: %s has no marker line\n", argv[1]);
        return 1;
    }
    page.replace(at, Marker.size() + 1, effectsSection());
    QFile out(QString::fromLocal8Bit(argv[2]));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text) || out.write(page.toUtf8()) < 0) {
        std::fprintf(stderr, "kestrova-effects-manual: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
