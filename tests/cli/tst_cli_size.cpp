// --size: the photo scaled with Qt's smooth transformation before it is
// drawn, exactly as if it had been scaled first and saved as PNG.

#include "clitest.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliSizeTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void sameAsResizedFirst_data();
    void sameAsResizedFirst();
    void neverEnlargedInBox();
    void percentageEnlarges();
    void thinPictures_data();
    void thinPictures();
    void badSizes_data();
    void badSizes();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // Draws `input` with `effect` and the extra arguments to `output`.
    void draw(const QString &effect, const QString &input, const QString &output,
              const QStringList &extra = {});

    std::unique_ptr<QTemporaryDir> m_dir;
};

void CliSizeTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void CliSizeTest::draw(const QString &effect, const QString &input, const QString &output,
                       const QStringList &extra)
{
    const RunResult result
            = runCli(QStringList {effect} + extra + QStringList {input, output}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, QString());
}

void CliSizeTest::sameAsResizedFirst_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QString>("size");
    QTest::addColumn<QSize>("expected");
    // 90 x 60 into 40 x 40: the width meets the box, 60 * 40 / 90 = 26.7.
    QTest::newRow("pen, box") << "pen"
                              << "40x40" << QSize(40, 27);
    QTest::newRow("pencil, box") << "pencil"
                                 << "100x30" << QSize(45, 30);
    QTest::newRow("poster, percent") << "poster"
                                     << "35%" << QSize(32, 21);
    QTest::newRow("color, percent") << "color"
                                    << "150%" << QSize(135, 90);
}

void CliSizeTest::sameAsResizedFirst()
{
    QFETCH(QString, effect);
    QFETCH(QString, size);
    QFETCH(QSize, expected);
    QVERIFY(savePicture(makePicture(90, 60, 4), path("photo.png")));
    draw(effect, "photo.png", "sized.png", {"--size", size});
    const QImage resized
            = readWorking(path("photo.png"))
                      .scaled(expected, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QVERIFY(resized.save(path("resized.png")));
    draw(effect, "resized.png", "first.png");
    const QImage sized = readWorking(path("sized.png"));
    QCOMPARE(sized.size(), expected);
    CLI_COMPARE_PIXELS(sized, readWorking(path("first.png")));
    CLI_COMPARE_PIXELS(sized, coreDrawing(effect, readWorking(path("resized.png"))));
}

void CliSizeTest::neverEnlargedInBox()
{
    QVERIFY(savePicture(makePicture(30, 20, 5), path("photo.png")));
    draw("pen", "photo.png", "plain.png");
    draw("pen", "photo.png", "boxed.png", {"--size", "3000x2000"});
    draw("pen", "photo.png", "exact.png", {"--size", "30x20"});
    QCOMPARE(fileBytes(path("boxed.png")), fileBytes(path("plain.png")));
    QCOMPARE(fileBytes(path("exact.png")), fileBytes(path("plain.png")));
}

void CliSizeTest::percentageEnlarges()
{
    QVERIFY(savePicture(makePicture(30, 20, 6), path("photo.png")));
    draw("pen", "photo.png", "big.png", {"--size", "250%"});
    QCOMPARE(readWorking(path("big.png")).size(), QSize(75, 50));
    draw("pen", "photo.png", "same.png", {"--size", "100%"});
    draw("pen", "photo.png", "plain.png");
    QCOMPARE(fileBytes(path("same.png")), fileBytes(path("plain.png")));
}

void CliSizeTest::thinPictures_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<QString>("size");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("1 x 300 in a box") << QSize(1, 300) << "10x10" << QSize(1, 10);
    QTest::newRow("300 x 1 in a box") << QSize(300, 1) << "10x10" << QSize(10, 1);
    QTest::newRow("300 x 1 halved") << QSize(300, 1) << "50%" << QSize(150, 1);
    QTest::newRow("1 x 1 at 1%") << QSize(1, 1) << "1%" << QSize(1, 1);
    QTest::newRow("3 x 200 at 10%") << QSize(3, 200) << "10%" << QSize(1, 20);
}

void CliSizeTest::thinPictures()
{
    QFETCH(QSize, picture);
    QFETCH(QString, size);
    QFETCH(QSize, expected);
    QVERIFY(savePicture(makePicture(picture.width(), picture.height(), 7), path("thin.png")));
    draw("pencil", "thin.png", "drawn.png", {"--size", size});
    const QImage drawn = readWorking(path("drawn.png"));
    QCOMPARE(drawn.size(), expected);
    const QImage resized
            = readWorking(path("thin.png"))
                      .scaled(expected, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    CLI_COMPARE_PIXELS(drawn,
                       coreDrawing("pencil", resized.convertToFormat(QImage::Format_ARGB32)));
}

void CliSizeTest::badSizes_data()
{
    QTest::addColumn<QString>("size");
    for (const char *size : {"0x10", "10x0", "10", "10x", "x10", "0%", "1001%", "-5%", "2.5%",
                             "axb", "10 x 10", "99999999999x2"})
        QTest::newRow(size) << QString::fromLatin1(size);
}

void CliSizeTest::badSizes()
{
    QFETCH(QString, size);
    QVERIFY(savePicture(makePicture(8, 8, 8), path("photo.png")));
    const RunResult result = runCli({"pen", "--size", size, "photo.png", "out.png"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(
                     QStringLiteral("kestrova-cli: --size must be WIDTHxHEIGHT (a box to fit "
                                    "in, never enlarging) or a percentage from 1% to 1000%, "
                                    "not '%1'")
                             .arg(size)),
             qPrintable(result.err));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files), QStringList({"photo.png"}));
}

QTEST_GUILESS_MAIN(CliSizeTest)
#include "tst_cli_size.moc"
