#include "svgsupport.h"

#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QSvgRenderer>
#include <QTemporaryDir>

namespace svgsupport {

QImage renderWithQt(const QByteArray &svg, QSize size, QRgb background)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(background);
    QSvgRenderer renderer(svg);
    QPainter painter(&image);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(size)));
    return image;
}

QImage renderWithRsvg(const QByteArray &svg, QSize size, QRgb background, bool crisp,
                      QString *error)
{
    QByteArray document = svg;
    if (crisp)
        document.replace("<svg ", "<svg shape-rendering=\"crispEdges\" ");
    QTemporaryDir folder;
    const QString out = folder.filePath("out.png");
    QProcess rsvg;
    rsvg.start("rsvg-convert",
               {"-w", QString::number(size.width()), "-h", QString::number(size.height()), "-b",
                QColor(background).name(), "-o", out});
    rsvg.write(document);
    rsvg.closeWriteChannel();
    if (!rsvg.waitForFinished(120000) || rsvg.exitCode() != 0) {
        *error = QString::fromUtf8(rsvg.readAllStandardError());
        return {};
    }
    return QImage(out).convertToFormat(QImage::Format_RGB32);
}

QString xmllintProblem(const QByteArray &svg)
{
    QProcess xmllint;
    xmllint.start("xmllint", {"--noout", "-"});
    xmllint.write(svg);
    xmllint.closeWriteChannel();
    if (!xmllint.waitForFinished(120000))
        return QStringLiteral("xmllint did not finish");
    if (xmllint.exitCode() != 0)
        return QString::fromUtf8(xmllint.readAllStandardError());
    return {};
}

QByteArray withoutBackdrop(const QByteArray &svg)
{
    const qsizetype start = svg.indexOf("<rect id=\"backdrop\"");
    if (start < 0)
        return svg;
    const qsizetype end = svg.indexOf("/>", start) + 2;
    QByteArray rest = svg;
    rest.remove(start, end - start);
    return rest;
}

QString missingPrograms()
{
    QStringList missing;
    if (QStandardPaths::findExecutable("rsvg-convert").isEmpty())
        missing << "rsvg-convert (Debian package librsvg2-bin)";
    if (QStandardPaths::findExecutable("xmllint").isEmpty())
        missing << "xmllint (Debian package libxml2-utils)";
    return missing.join(", ");
}

} // namespace svgsupport
