// What a drawing carries in every format written: the photo's resolution
// (or --dpi), and for the drawings in the photo's colours its colour
// profile.

#include "clitest.h"

#include <QColorSpace>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliFormatsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void resolutionKept_data();
    void resolutionKept();
    void dpiSetsResolution_data();
    void dpiSetsResolution();
    void colourProfile_data();
    void colourProfile();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // Draws photo.png with `effect` and the extra arguments to `output`.
    void draw(const QString &effect, const QString &output, const QStringList &extra = {});
    // The drawing as Qt reads it, metadata included.
    QImage drawn(const QString &output) const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

namespace {

// 300 dots per inch.
constexpr int PhotoDotsPerMetre = 11811;

// Every format written, by the suffix that chooses it.
void addSuffixColumn()
{
    QTest::addColumn<QString>("suffix");
}

QStringList writtenSuffixes()
{
    return {QStringLiteral("png"), QStringLiteral("jpg")};
}

} // namespace

void CliFormatsTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QImage photo = makePicture(36, 24, 3);
    photo.setDotsPerMeterX(PhotoDotsPerMetre);
    photo.setDotsPerMeterY(PhotoDotsPerMetre);
    photo.setColorSpace(QColorSpace(QColorSpace::DisplayP3));
    QVERIFY(photo.save(path("photo.png")));
}

void CliFormatsTest::draw(const QString &effect, const QString &output, const QStringList &extra)
{
    const RunResult result = runCli(
            QStringList {effect} + extra + QStringList {"photo.png", output}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, QString());
}

QImage CliFormatsTest::drawn(const QString &output) const
{
    return QImage(path(output));
}

void CliFormatsTest::resolutionKept_data()
{
    QTest::addColumn<QString>("effect");
    addSuffixColumn();
    for (const Effect &effect : effects()) {
        for (const QString &suffix : writtenSuffixes())
            QTest::addRow("%s %s", effect.name, qPrintable(suffix))
                    << QString::fromLatin1(effect.name) << suffix;
    }
}

void CliFormatsTest::resolutionKept()
{
    QFETCH(QString, effect);
    QFETCH(QString, suffix);
    const QString output = QStringLiteral("drawing.") + suffix;
    draw(effect, output);
    QCOMPARE(drawn(output).dotsPerMeterX(), PhotoDotsPerMetre);
    QCOMPARE(drawn(output).dotsPerMeterY(), PhotoDotsPerMetre);
    // Scaled, the drawing keeps the photo's resolution.
    draw(effect, QStringLiteral("small.") + suffix, {"--size", "50%"});
    QCOMPARE(drawn(QStringLiteral("small.") + suffix).dotsPerMeterX(), PhotoDotsPerMetre);
}

void CliFormatsTest::dpiSetsResolution_data()
{
    addSuffixColumn();
    for (const QString &suffix : writtenSuffixes())
        QTest::newRow(qPrintable(suffix)) << suffix;
}

void CliFormatsTest::dpiSetsResolution()
{
    QFETCH(QString, suffix);
    const QString output = QStringLiteral("drawing.") + suffix;
    draw(QStringLiteral("pencil"), output, {"--dpi", "72"});
    // 72 / 0.0254 = 2834.6 dots per metre; JPEG keeps whole dots per inch.
    QCOMPARE(qRound(drawn(output).dotsPerMeterX() * 0.0254), 72);
    QCOMPARE(qRound(drawn(output).dotsPerMeterY() * 0.0254), 72);
    const RunResult result = runCli({"pen", "--dpi", "0", "photo.png", output}, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY(result.err.startsWith(
            QLatin1String("kestrova-cli: --dpi must be a whole number from 1 to 100000, not '0'")));
}

void CliFormatsTest::colourProfile_data()
{
    QTest::addColumn<QString>("effect");
    addSuffixColumn();
    QTest::addColumn<bool>("profile");
    for (const Effect &effect : effects()) {
        for (const QString &suffix : writtenSuffixes())
            QTest::addRow("%s %s", effect.name, qPrintable(suffix))
                    << QString::fromLatin1(effect.name) << suffix << effect.photoColours;
    }
}

void CliFormatsTest::colourProfile()
{
    QFETCH(QString, effect);
    QFETCH(QString, suffix);
    QFETCH(bool, profile);
    const QString output = QStringLiteral("drawing.") + suffix;
    draw(effect, output);
    const QColorSpace space = drawn(output).colorSpace();
    if (profile)
        QCOMPARE(space, QColorSpace(QColorSpace::DisplayP3));
    else
        QVERIFY2(!space.isValid(), qPrintable(space.description()));
}

QTEST_GUILESS_MAIN(CliFormatsTest)
#include "tst_cli_formats.moc"
