// Draws the two application icons:
//   painter_48.png  - a painter's palette with an artist's brush (window icon)
//   1403_Globe.png  - a globe (Help > Website action)
// and, given a second folder, the same painter icon at the sizes the desktop
// shows it (kestrova-16.png ... kestrova-512.png).
//
// Usage: kestrova-draw-icons [output-folder [desktop-icon-folder]]
//        (default: the current folder)
// Run it with QT_QPA_PLATFORM=offscreen where no display is available.
// The PNGs it writes are committed; rerun only when the artwork changes.

#include <QColor>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QString>
#include <QTextStream>
#include <QTransform>

#include <cmath>
#include <cstdio>

namespace {

// Everything is drawn on a 48-unit canvas, rendered at this many times the
// final size and scaled down smoothly, which gives soft, even edges.
constexpr int kSize = 48;
constexpr int kOversample = 8;

// The sizes of the desktop's icon theme, and one large enough for software
// centres and high-density screens.
constexpr int kDesktopSizes[] = {16, 32, 48, 64, 128, 256, 512};

QImage newCanvas(int size = kSize)
{
    QImage image(size * kOversample, size * kOversample, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage finish(const QImage &canvas, int size = kSize)
{
    return canvas.scaled(size, size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            .convertToFormat(QImage::Format_ARGB32);
}

void paintBlob(QPainter &p, QPointF centre, qreal radius, const QColor &colour)
{
    QRadialGradient shade(centre - QPointF(radius * 0.35, radius * 0.35), radius * 1.4);
    shade.setColorAt(0.0, colour.lighter(150));
    shade.setColorAt(0.45, colour);
    shade.setColorAt(1.0, colour.darker(140));
    p.setPen(QPen(colour.darker(170), 0.5));
    p.setBrush(shade);
    p.drawEllipse(centre, radius, radius);
}

// The palette: a wide oval with a notch on its lower right edge and a thumb
// hole, on the 48-unit canvas. Subtracting one path from another turns the
// curves into straight pieces about half a unit long, which shows as corners
// on large icons; so the subtraction is done `detail` times larger and the
// result scaled back.
QPainterPath paletteShape(qreal detail)
{
    const QTransform up = QTransform::fromScale(detail, detail);
    QPainterPath palette;
    palette.addEllipse(QRectF(2.0, 9.0, 42.0, 33.0));
    QPainterPath notch;
    notch.addEllipse(QRectF(31.0, 29.0, 14.0, 12.0));
    QPainterPath thumbHole;
    thumbHole.addEllipse(QRectF(27.5, 27.0, 6.0, 5.0));
    const QPainterPath shape
            = up.map(palette).subtracted(up.map(notch)).subtracted(up.map(thumbHole));
    return up.inverted().map(shape);
}

// At 48 pixels the scale is exactly kOversample and the palette is cut at
// the canvas's own size, as the window icon has always been drawn.
QImage drawPainter(int size = kSize)
{
    QImage canvas = newCanvas(size);
    QPainter p(&canvas);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal scale = qreal(size * kOversample) / kSize;
    p.scale(scale, scale);

    const QPainterPath palette = paletteShape(size == kSize ? 1.0 : scale);

    // Soft drop shadow under the palette.
    p.save();
    p.translate(0.8, 1.2);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 60));
    p.drawPath(palette);
    p.restore();

    QLinearGradient wood(QPointF(8.0, 10.0), QPointF(36.0, 42.0));
    wood.setColorAt(0.0, QColor(236, 196, 136));
    wood.setColorAt(0.55, QColor(214, 164, 100));
    wood.setColorAt(1.0, QColor(176, 124, 68));
    p.setPen(QPen(QColor(122, 78, 36), 1.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(wood);
    p.drawPath(palette);

    // A faint highlight along the upper rim.
    p.save();
    p.setClipPath(palette);
    p.setPen(QPen(QColor(255, 240, 210, 150), 1.2));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(4.5, 11.0, 37.0, 29.0), 50 * 16, 110 * 16);
    p.restore();

    // Paint blobs round the rim.
    paintBlob(p, QPointF(10.0, 21.0), 3.4, QColor(220, 40, 40)); // red
    paintBlob(p, QPointF(18.0, 14.8), 3.3, QColor(250, 200, 30)); // yellow
    paintBlob(p, QPointF(27.5, 14.6), 3.3, QColor(60, 170, 70)); // green
    paintBlob(p, QPointF(36.0, 19.5), 3.2, QColor(40, 100, 220)); // blue
    paintBlob(p, QPointF(11.5, 31.0), 3.2, QColor(245, 245, 245)); // white
    paintBlob(p, QPointF(20.0, 35.5), 2.9, QColor(150, 60, 180)); // violet

    // Brush, lying diagonally across the palette: handle to the upper right,
    // bristles to the lower left with a dab of red paint on the tip.
    p.save();
    p.translate(24.0, 24.0);
    p.rotate(-45.0);
    // In this frame the brush runs along x: tip at negative x, handle end at positive x.

    // Shadow of the whole brush.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 55));
    p.drawRoundedRect(QRectF(-17.0, -1.0, 40.0, 4.4), 2.0, 2.0);

    // Handle: tapering towards its end.
    QPainterPath handle;
    handle.moveTo(-2.0, -2.2);
    handle.lineTo(21.0, -1.2);
    handle.quadTo(23.5, 0.0, 21.0, 1.2);
    handle.lineTo(-2.0, 2.2);
    handle.closeSubpath();
    QLinearGradient handleShade(QPointF(0.0, -2.2), QPointF(0.0, 2.2));
    handleShade.setColorAt(0.0, QColor(226, 86, 64));
    handleShade.setColorAt(0.45, QColor(178, 40, 30));
    handleShade.setColorAt(1.0, QColor(110, 20, 14));
    p.setPen(QPen(QColor(80, 14, 10), 0.5));
    p.setBrush(handleShade);
    p.drawPath(handle);

    // Ferrule: the metal band holding the bristles.
    QLinearGradient metal(QPointF(0.0, -2.4), QPointF(0.0, 2.4));
    metal.setColorAt(0.0, QColor(238, 238, 242));
    metal.setColorAt(0.4, QColor(172, 176, 186));
    metal.setColorAt(1.0, QColor(96, 100, 110));
    p.setPen(QPen(QColor(70, 72, 80), 0.5));
    p.setBrush(metal);
    p.drawRoundedRect(QRectF(-8.5, -2.4, 7.0, 4.8), 0.8, 0.8);
    p.setPen(QPen(QColor(90, 92, 100, 180), 0.4));
    p.drawLine(QPointF(-6.5, -2.3), QPointF(-6.5, 2.3));
    p.drawLine(QPointF(-3.5, -2.3), QPointF(-3.5, 2.3));

    // Bristles: a pointed tuft.
    QPainterPath bristles;
    bristles.moveTo(-8.4, -2.2);
    bristles.cubicTo(-12.0, -2.8, -15.0, -1.4, -18.5, 0.0);
    bristles.cubicTo(-15.0, 1.4, -12.0, 2.8, -8.4, 2.2);
    bristles.closeSubpath();
    QLinearGradient hair(QPointF(-8.4, 0.0), QPointF(-18.5, 0.0));
    hair.setColorAt(0.0, QColor(150, 104, 58));
    hair.setColorAt(0.5, QColor(112, 72, 36));
    hair.setColorAt(0.62, QColor(200, 36, 36));
    hair.setColorAt(1.0, QColor(150, 20, 20));
    p.setPen(QPen(QColor(60, 34, 14), 0.5));
    p.setBrush(hair);
    p.drawPath(bristles);

    // Highlight along the top of the handle.
    p.setPen(QPen(QColor(255, 255, 255, 110), 0.6, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(0.0, -1.2), QPointF(19.0, -0.6));
    p.restore();

    p.end();
    return finish(canvas, size);
}

QImage drawGlobe()
{
    QImage canvas = newCanvas();
    QPainter p(&canvas);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(kOversample, kOversample);

    const QPointF centre(24.0, 24.0);
    const qreal r = 21.0;
    const QRectF disc(centre.x() - r, centre.y() - r, 2 * r, 2 * r);

    // Shadow.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 50));
    p.drawEllipse(disc.translated(0.8, 1.2));

    // Ocean: a sphere lit from the upper left.
    QRadialGradient ocean(centre - QPointF(7.0, 8.0), r * 1.45, centre - QPointF(8.0, 9.0));
    ocean.setColorAt(0.0, QColor(150, 210, 255));
    ocean.setColorAt(0.45, QColor(40, 120, 215));
    ocean.setColorAt(1.0, QColor(12, 44, 120));
    p.setBrush(ocean);
    p.drawEllipse(disc);

    QPainterPath sphere;
    sphere.addEllipse(disc);
    p.save();
    p.setClipPath(sphere);

    // Land masses, loosely shaped, shaded with the same light.
    QRadialGradient land(centre - QPointF(7.0, 8.0), r * 1.45, centre - QPointF(8.0, 9.0));
    land.setColorAt(0.0, QColor(170, 230, 120));
    land.setColorAt(0.5, QColor(70, 160, 60));
    land.setColorAt(1.0, QColor(25, 80, 30));
    p.setBrush(land);
    p.setPen(Qt::NoPen);

    QPainterPath west;
    west.moveTo(9.0, 10.0);
    west.cubicTo(14.0, 6.5, 21.0, 7.0, 22.0, 11.0);
    west.cubicTo(22.5, 14.0, 18.5, 15.0, 18.0, 18.0);
    west.cubicTo(17.5, 21.0, 21.5, 22.5, 21.0, 26.0);
    west.cubicTo(20.5, 30.0, 17.0, 32.0, 16.5, 37.0);
    west.cubicTo(16.2, 40.0, 13.5, 40.5, 12.5, 37.0);
    west.cubicTo(11.5, 33.0, 12.5, 29.0, 10.0, 26.0);
    west.cubicTo(7.0, 23.0, 4.0, 21.0, 4.5, 17.0);
    west.cubicTo(5.0, 14.0, 6.5, 11.5, 9.0, 10.0);
    p.drawPath(west);

    QPainterPath east;
    east.moveTo(27.0, 9.0);
    east.cubicTo(32.0, 6.0, 39.0, 8.0, 42.0, 13.0);
    east.cubicTo(44.0, 16.5, 41.0, 18.5, 38.0, 18.0);
    east.cubicTo(35.0, 17.5, 34.0, 20.5, 36.0, 23.0);
    east.cubicTo(38.5, 26.0, 37.0, 31.0, 33.5, 34.0);
    east.cubicTo(31.0, 36.0, 29.5, 33.0, 29.8, 30.0);
    east.cubicTo(30.0, 27.0, 27.0, 26.0, 26.5, 22.5);
    east.cubicTo(26.0, 19.0, 29.5, 17.0, 28.0, 14.0);
    east.cubicTo(27.0, 12.0, 25.0, 10.5, 27.0, 9.0);
    p.drawPath(east);

    QPainterPath island;
    island.addEllipse(QRectF(38.0, 33.0, 5.0, 3.2));
    p.drawPath(island);

    // Grid: parallels and meridians.
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QColor(255, 255, 255, 120), 0.7));
    for (int k = -2; k <= 2; ++k) {
        const qreal y = centre.y() + k * r * 0.42;
        const qreal half = std::sqrt(r * r - (y - centre.y()) * (y - centre.y()));
        p.drawLine(QPointF(centre.x() - half, y), QPointF(centre.x() + half, y));
    }
    for (qreal w : {0.0, 0.45, 0.82}) {
        if (w == 0.0) {
            p.drawLine(QPointF(centre.x(), centre.y() - r), QPointF(centre.x(), centre.y() + r));
        } else {
            p.drawEllipse(QRectF(centre.x() - r * w, centre.y() - r, 2 * r * w, 2 * r));
        }
    }

    // Glossy highlight.
    QRadialGradient gloss(centre - QPointF(8.0, 9.0), r * 0.6);
    gloss.setColorAt(0.0, QColor(255, 255, 255, 150));
    gloss.setColorAt(1.0, QColor(255, 255, 255, 0));
    p.setPen(Qt::NoPen);
    p.setBrush(gloss);
    p.drawEllipse(disc);
    p.restore();

    // Rim.
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QColor(8, 30, 80), 1.0));
    p.drawEllipse(disc);

    p.end();
    return finish(canvas);
}

bool save(const QImage &image, const QDir &dir, const QString &name)
{
    const QString path = dir.filePath(name);
    if (!image.save(path, "PNG")) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("wrote %s\n", qPrintable(path));
    return true;
}

bool saveDesktopIcons(const QDir &dir)
{
    bool ok = true;
    for (int size : kDesktopSizes)
        ok = save(drawPainter(size), dir, QStringLiteral("kestrova-%1.png").arg(size)) && ok;
    return ok;
}

bool exists(const QDir &dir)
{
    if (!dir.exists())
        std::fprintf(stderr, "no such folder: %s\n", qPrintable(dir.path()));
    return dir.exists();
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList args = QGuiApplication::arguments();
    const QDir out(args.size() > 1 ? args.at(1) : QDir::currentPath());
    const QDir desktop(args.size() > 2 ? args.at(2) : QString());
    if (!exists(out) || (args.size() > 2 && !exists(desktop)))
        return 2;
    bool ok = save(drawPainter(), out, QStringLiteral("painter_48.png"));
    ok = save(drawGlobe(), out, QStringLiteral("1403_Globe.png")) && ok;
    if (args.size() > 2)
        ok = saveDesktopIcons(desktop) && ok;
    return ok ? 0 : 1;
}
