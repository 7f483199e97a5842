// Writes the type stubs of `import kestrova` from the table of effects, so
// that editors complete each effect's function and its settings.

#include "effect.h"

#include <QFile>
#include <QString>

#include <cstdio>

namespace {

QString keyword(const char *name)
{
    return QString::fromLatin1(name).replace(QLatin1Char('-'), QLatin1Char('_'));
}

// A docstring line: no quotes or backslashes to escape in the table's text.
QString quoted(const QString &text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QStringLiteral("\"\"\""), QStringLiteral("\\\"\\\"\\\""));
    return escaped;
}

QString effectStub(const Effect &effect)
{
    QString text
            = QStringLiteral("def %1(\n    picture: Picture,\n    *,\n").arg(keyword(effect.name));
    for (const EffectSetting &setting : effect.settings)
        text += QStringLiteral("    %1: int = %2,\n")
                        .arg(keyword(setting.name))
                        .arg(setting.defaultValue);
    if (effect.contourLayer)
        text += QStringLiteral("    contours: bool = True,\n");
    text += QStringLiteral("    threads: Optional[int] = None,\n"
                           "    progress: Optional[Callable[[int], object]] = None,\n"
                           ") -> Drawing:\n");
    QString description = QLatin1String(effect.description);
    if (!description.isEmpty())
        description[0] = description[0].toUpper();
    text += QStringLiteral("    \"\"\"%1.\n\n").arg(quoted(description));
    for (const EffectSetting &setting : effect.settings)
        text += QStringLiteral("    %1: %2, %3..%4 (default %5)\n")
                        .arg(keyword(setting.name), quoted(QLatin1String(setting.help)))
                        .arg(setting.minimum)
                        .arg(setting.maximum)
                        .arg(setting.defaultValue);
    text += QStringLiteral("    \"\"\"\n\n");
    return text;
}

const char *const Header = R"(# The API of `import kestrova`, written from the table of effects.
from typing import Callable, List, Optional, Tuple

import numpy
import numpy.typing

Picture = numpy.typing.NDArray[numpy.uint8]
Drawing = numpy.typing.NDArray[numpy.uint8]

class Setting:
    name: str
    label: str
    minimum: int
    maximum: int
    default: int
    help: str
    @property
    def keyword(self) -> str: ...

class Effect:
    name: str
    description: str
    settings: Tuple[Setting, ...]
    contour_layer: bool
    needs_edges: bool
    grey_drawing: bool
    transparent_lines: bool
    notes: Optional[str]

def effects() -> List[Effect]: ...
def draw(
    effect: str,
    picture: Picture,
    *,
    contours: bool = True,
    threads: Optional[int] = None,
    progress: Optional[Callable[[int], object]] = None,
    **settings: int,
) -> Drawing: ...
def read(path: str, *, auto_orient: bool = False, threads: Optional[int] = None) -> Picture: ...
def write(
    path: str,
    drawing: Picture,
    *,
    png_level: str = "fast",
    transparent: bool = False,
    quality: int = 100,
    threads: Optional[int] = None,
) -> None: ...

)";

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestrova-python-stubs FILE\n");
        return 2;
    }
    QString text = QLatin1String(Header);
    for (const Effect &effect : effects())
        text += effectStub(effect);
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(text.toUtf8()) != text.toUtf8().size()) {
        std::fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
