// Replays every input that fuzzing found (tests/data/fuzz/TARGET) through
// the fuzz target's own code: each once crashed, hung or tripped a
// sanitizer, and must not again.

#include "fuzztargets.h"

#include <QDir>
#include <QFile>
#include <QTest>

class TestFuzzReplay : public QObject
{
    Q_OBJECT

private slots:
    void replay_data();
    void replay();
};

void TestFuzzReplay::replay_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("path");
    const QDir root(QStringLiteral(KESTROVA_FUZZ_DIR));
    int rows = 0;
    for (const QString &target : {QStringLiteral("read"), QStringLiteral("effects")}) {
        const QDir folder(root.filePath(target));
        QVERIFY2(folder.exists(), qPrintable(folder.path()));
        for (const QString &name : folder.entryList(QDir::Files, QDir::Name)) {
            QTest::newRow(qPrintable(target + QLatin1Char('/') + name))
                    << target << folder.filePath(name);
            ++rows;
        }
    }
    if (rows == 0)
        QTest::newRow("nothing found yet") << QString() << QString();
}

void TestFuzzReplay::replay()
{
    QFETCH(QString, target);
    QFETCH(QString, path);
    if (target.isEmpty())
        QSKIP("fuzzing has found nothing to replay");
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    const auto *data = reinterpret_cast<const uint8_t *>(bytes.constData());
    if (target == QLatin1String("read"))
        fuzzReadAndDraw(data, size_t(bytes.size()));
    else
        fuzzEffects(data, size_t(bytes.size()));
}

QTEST_GUILESS_MAIN(TestFuzzReplay)
#include "tst_fuzz_replay.moc"
