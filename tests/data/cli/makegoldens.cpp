// Draws the small test picture for the command-line tests (only when it is
// missing) and the reference drawing of every effect, at its defaults, made
// from it in this process. Built on request only:
//   ninja -C <build> kestrova-cli-goldens
//   <build>/tests/cli/kestrova-cli-goldens tests/data/cli

#include "effect.h"
#include "workingformat.h"

#include <QCoreApplication>
#include <QDir>
#include <QImageReader>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

#include <cstdio>

namespace {

// 64 x 48: a diagonal colour gradient, a shaded disc, a dark bar, a pale
// triangle and a thin line, so the edge map has soft and hard edges alike.
QImage drawInput()
{
    QImage image(64, 48, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient background(0, 0, 64, 48);
    background.setColorAt(0, QColor(30, 90, 200));
    background.setColorAt(1, QColor(240, 200, 60));
    painter.fillRect(image.rect(), background);
    painter.setRenderHint(QPainter::Antialiasing);
    QRadialGradient disc(20, 18, 14, 15, 13);
    disc.setColorAt(0, QColor(255, 250, 240));
    disc.setColorAt(1, QColor(150, 30, 40));
    painter.setPen(Qt::NoPen);
    painter.setBrush(disc);
    painter.drawEllipse(QPointF(20, 18), 13, 13);
    painter.setBrush(QColor(20, 25, 30));
    painter.drawRect(QRectF(38, 6, 8, 34));
    painter.setBrush(QColor(220, 240, 210));
    painter.drawPolygon(QPolygonF({QPointF(8, 44), QPointF(30, 30), QPointF(34, 46)}));
    painter.setPen(QPen(QColor(60, 140, 60), 1.5));
    painter.drawLine(QPointF(50, 44), QPointF(62, 4));
    painter.end();
    return image;
}

bool save(const QImage &image, const QString &path)
{
    if (image.save(path))
        return true;
    std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestrova-cli-goldens FOLDER\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    const QString inputPath = folder.filePath(QStringLiteral("input.png"));
    if (!QFile::exists(inputPath) && !save(drawInput(), inputPath))
        return 1;

    // Exactly the tool's pipeline: read, working format, edge map, effect.
    QImage input;
    if (!QImageReader(inputPath).read(&input)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(inputPath));
        return 1;
    }
    input = toWorkingFormat(input);
    for (const Effect &effect : effects()) {
        const QImage drawing = makeDrawing(effect, input, effect.defaults(), {}, {}, nullptr);
        const QString name = QLatin1String(effect.name) + QStringLiteral("-golden.png");
        if (drawing.isNull() || !save(drawing, folder.filePath(name)))
            return 1;
    }
    return 0;
}
