#include "randomsequence.h"

#include <QTest>

class TestRandom : public QObject
{
    Q_OBJECT

private slots:
    void firstValuesFromStartUp();
    void valuesStayInRange();
    void stateWrapsAroundThirtyTwoBits();
    void skipEqualsDrawing_data();
    void skipEqualsDrawing();
    void skipAFullPeriodReturns();
};

void TestRandom::firstValuesFromStartUp()
{
    RandomSequence random;
    QCOMPARE(random.state(), 1u);
    QCOMPARE(random.next(), 476707713);
    QCOMPARE(random.next(), 1186278907);
    QCOMPARE(random.next(), 505671508);
    QCOMPARE(random.next(), 2137716191);
    QCOMPARE(random.next(), 936145377);
}

void TestRandom::valuesStayInRange()
{
    RandomSequence random;
    for (int i = 0; i < 100000; ++i) {
        const int value = random.next();
        QVERIFY(value >= 0 && value <= RandomSequence::Max);
    }
}

void TestRandom::stateWrapsAroundThirtyTwoBits()
{
    // One step from the largest state: (2^32 - 1) * 1103515245 + 12345,
    // reduced modulo 2^32, computed here in 64 bits.
    RandomSequence random(0xFFFFFFFFu);
    quint64 s = 0xFFFFFFFFu;
    quint32 expected = 0;
    s = (s * 1103515245u + 12345u) & 0xFFFFFFFFu;
    expected = quint32((s / 65536) % 2048);
    s = (s * 1103515245u + 12345u) & 0xFFFFFFFFu;
    expected = (expected << 10) ^ quint32((s / 65536) % 1024);
    s = (s * 1103515245u + 12345u) & 0xFFFFFFFFu;
    expected = (expected << 10) ^ quint32((s / 65536) % 1024);
    QCOMPARE(random.next(), int(expected));
    QCOMPARE(random.state(), quint32(s));
}

void TestRandom::skipEqualsDrawing_data()
{
    QTest::addColumn<quint32>("state");
    QTest::addColumn<qulonglong>("count");
    for (qulonglong count : {0ull, 1ull, 2ull, 15ull, 16ull, 4097ull, 100000ull})
        QTest::addRow("from 1, %llu", count) << 1u << count;
    QTest::newRow("from the top, 1000") << 0xFFFFFFFFu << 1000ull;
    QTest::newRow("from 0, 777") << 0u << 777ull;
}

void TestRandom::skipEqualsDrawing()
{
    QFETCH(quint32, state);
    QFETCH(qulonglong, count);
    RandomSequence drawn(state);
    RandomSequence skipped(state);
    for (qulonglong i = 0; i < count; ++i)
        drawn.next();
    skipped.skip(count);
    QCOMPARE(skipped.state(), drawn.state());
    QCOMPARE(skipped.next(), drawn.next());
}

void TestRandom::skipAFullPeriodReturns()
{
    // 2^32 draws are 3 * 2^32 steps: a whole number of periods.
    RandomSequence random(4242u);
    random.skip(1ull << 32);
    QCOMPARE(random.state(), 4242u);
}

QTEST_APPLESS_MAIN(TestRandom)
#include "tst_random.moc"
