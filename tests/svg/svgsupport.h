#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QString>

namespace svgsupport {

// `svg` drawn by Qt's renderer at `size` over `background`. It always
// smooths edges (it turns anti-aliasing on itself); shapes whose edges run
// along the pixels' sides cover whole pixels all the same.
QImage renderWithQt(const QByteArray &svg, QSize size, QRgb background);
// `svg` drawn by rsvg-convert at `size` over `background`; without
// anti-aliasing when `crisp` (the document is given shape-rendering
// "crispEdges" first). A null picture, with the reason in `error`, when
// rsvg-convert fails or is missing.
QImage renderWithRsvg(const QByteArray &svg, QSize size, QRgb background, bool crisp,
                      QString *error);
// Empty when xmllint finds `svg` well formed, else what it says.
QString xmllintProblem(const QByteArray &svg);
// The document without its backdrop, so that only the traced shapes draw.
QByteArray withoutBackdrop(const QByteArray &svg);
// Why the tests cannot run the programs they need, naming the Debian
// packages, or empty.
QString missingPrograms();

} // namespace svgsupport
