// Replays every input that fuzzing found (tests/data/fuzz/TARGET) through
// the fuzz target's own code: each once crashed, hung or tripped a
// sanitizer, and must not again. A failure aborts.

#include "fuzztargets.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <iterator>

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestFuzzReplay : public QObject
{
    Q_OBJECT

private slots:
    void replay_data();
    void replay();
};

namespace {

// Inputs for the effects target that every run makes alike: each pixel
// format in turn, with slider values and pixels from a simple generator.
QByteArray madeEffectsInput(int n)
{
    QByteArray bytes(48 + 16 * n, '\0');
    quint32 state = quint32(n) * 2654435761u + 1;
    for (char &byte : bytes) {
        state = state * 1103515245u + 12345u;
        byte = char(state >> 24);
    }
    bytes[4] = char(n);
    return bytes;
}

constexpr int MadeInputs = 34;

} // namespace

// What fuzzing found, then, so that the targets' code keeps working between
// fuzzing runs, the bad inputs it starts from and a few made inputs.
void TestFuzzReplay::replay_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("bytes");
    const QDir found(QStringLiteral(KESTROVA_FUZZ_DIR));
    for (const QString &target :
         {QStringLiteral("read"), QStringLiteral("effects"), QStringLiteral("settings")}) {
        const QDir folder(found.filePath(target));
        QVERIFY2(folder.exists(), qPrintable(folder.path()));
        for (const QString &name : folder.entryList(QDir::Files, QDir::Name))
            QTest::newRow(qPrintable(target + QLatin1Char('/') + name))
                    << target << contents(folder.filePath(name));
    }
    const QDir bad(QStringLiteral(KESTROVA_BAD_DIR));
    for (const QString &name : bad.entryList(QDir::Files, QDir::Name))
        QTest::newRow(qPrintable(QStringLiteral("read/seed/") + name))
                << QStringLiteral("read") << contents(bad.filePath(name));
    for (int n = 0; n < MadeInputs; ++n)
        QTest::newRow(qPrintable(QStringLiteral("effects/made/%1").arg(n)))
                << QStringLiteral("effects") << madeEffectsInput(n);
    const QByteArray settings[] = {
            "effect = pencil\ndensity = 4 # dense\ncontours = off\nauto-levels = on\n",
            "effect = poster\ncolors = 30\n",
            "effect = pen\nblack = 300\n",
            "GIMP Palette\nName: x\n  0   0   0\tLab 0 0 0\n255 255 255 paper\n",
            "GIMP Palette\n 63 103 172\tLab 44 8 -41\n63 103 172\tLab 44 8 -40\n",
            "GIMP Palette\n1 2\n",
            "",
    };
    for (size_t n = 0; n < std::size(settings); ++n)
        QTest::newRow(qPrintable(QStringLiteral("settings/made/%1").arg(n)))
                << QStringLiteral("settings") << settings[n];
}

void TestFuzzReplay::replay()
{
    QFETCH(QString, target);
    QFETCH(QByteArray, bytes);
    const auto *data = reinterpret_cast<const uint8_t *>(bytes.constData());
    if (target == QLatin1String("read"))
        fuzzReadAndDraw(data, size_t(bytes.size()));
    else if (target == QLatin1String("effects"))
        fuzzEffects(data, size_t(bytes.size()));
    else
        fuzzSettingsFiles(data, size_t(bytes.size()));
}

QTEST_GUILESS_MAIN(TestFuzzReplay)
#include "tst_fuzz_replay.moc"
