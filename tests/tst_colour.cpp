#include "colour.h"
#include "labconvert.h"
#include "reference.h"

#include <QTest>

class TestColour : public QObject
{
    Q_OBJECT

private slots:
    void rgbtolabKnownColours_data();
    void rgbtolabKnownColours();
    void alphaNeverChangesLab();
    void negativeComponentsTruncateTowardZero();
    void rgbtolReturnsAndStoresLightness();
    void lab2rgbKnownTriples_data();
    void lab2rgbKnownTriples();
    void lab2rgbRoundTripIsClose();
    void labdiffTruncatesTheDistance();
    void lightnessTableMatchesRgbtolForEveryColour();
    void rgbtolabManyMatchesRgbtolabForEveryColour();
    void rgbtolabMatchesTheLiteralConversion();
    void lab2rgbMatchesTheLiteralConversion();
    void rgbtolabManyIgnoresAlphaAndHandlesShortRuns();
};

void TestColour::rgbtolabKnownColours_data()
{
    QTest::addColumn<uint>("rgb");
    QTest::addColumn<int>("L");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::newRow("black") << 0xFF000000u << 0 << 0 << 0;
    QTest::newRow("white") << 0xFFFFFFFFu << 100 << 0 << 0;
    QTest::newRow("grey 0x80") << 0xFF808080u << 53 << 0 << 0;
    QTest::newRow("red") << 0xFFFF0000u << 53 << 80 << 67;
}

void TestColour::rgbtolabKnownColours()
{
    QFETCH(uint, rgb);
    QFETCH(int, L);
    QFETCH(int, a);
    QFETCH(int, b);
    int gotL = -1, gotA = -1, gotB = -1;
    rgbtolab(rgb, &gotL, &gotA, &gotB);
    QCOMPARE(gotL, L);
    QCOMPARE(gotA, a);
    QCOMPARE(gotB, b);
    int lightness = -1;
    QCOMPARE(rgbtol(rgb, &lightness), L);
}

void TestColour::alphaNeverChangesLab()
{
    const uint colours[] = {0x00FF0000u, 0x7F123456u, 0x00808080u, 0x01FFFFFFu};
    for (uint colour : colours) {
        int L1, a1, b1, L2, a2, b2, l1, l2;
        rgbtolab(colour, &L1, &a1, &b1);
        rgbtolab(colour | 0xFF000000u, &L2, &a2, &b2);
        QCOMPARE(L1, L2);
        QCOMPARE(a1, a2);
        QCOMPARE(b1, b2);
        QCOMPARE(rgbtol(colour, &l1), rgbtol(colour | 0xFF000000u, &l2));
    }
}

void TestColour::negativeComponentsTruncateTowardZero()
{
    // Pure green is about (87.7, -86.2, 83.2): a rounds to -86, not -87.
    int L, a, b;
    rgbtolab(0xFF00FF00u, &L, &a, &b);
    QCOMPARE(L, 87);
    QCOMPARE(a, -86);
    QCOMPARE(b, 83);
    // Pure blue is about (32.3, 79.2, -107.9).
    rgbtolab(0xFF0000FFu, &L, &a, &b);
    QCOMPARE(L, 32);
    QCOMPARE(a, 79);
    QCOMPARE(b, -107);
}

void TestColour::rgbtolReturnsAndStoresLightness()
{
    int L = -1;
    QCOMPARE(rgbtol(0xFF404040u, &L), 27);
    QCOMPARE(L, 27);
}

void TestColour::lab2rgbKnownTriples_data()
{
    QTest::addColumn<int>("L");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::addColumn<uint>("rgb");
    QTest::newRow("black") << 0 << 0 << 0 << 0xFF000000u;
    QTest::newRow("white is not quite") << 100 << 0 << 0 << 0xFFFFFFFEu;
    QTest::newRow("red") << 53 << 80 << 67 << 0xFFFE0000u;
    QTest::newRow("out of gamut, magenta") << 50 << 127 << -128 << 0xFFB700FFu;
    QTest::newRow("out of gamut, green") << 30 << -100 << 100 << 0xFF005C00u;
    QTest::newRow("out of gamut, orange") << 100 << 127 << 127 << 0xFFFF4600u;
}

void TestColour::lab2rgbKnownTriples()
{
    QFETCH(int, L);
    QFETCH(int, a);
    QFETCH(int, b);
    QFETCH(uint, rgb);
    QCOMPARE(lab2rgb(L, a, b), QRgb(rgb));
}

void TestColour::lab2rgbRoundTripIsClose()
{
    for (uint colour : {0xFF336699u, 0xFFC0FFEEu, 0xFF808080u, 0xFF102030u}) {
        int L, a, b;
        rgbtolab(colour, &L, &a, &b);
        const QRgb back = lab2rgb(L, a, b);
        QCOMPARE(qAlpha(back), 255);
        QVERIFY(qAbs(qRed(back) - qRed(colour)) <= 8);
        QVERIFY(qAbs(qGreen(back) - qGreen(colour)) <= 8);
        QVERIFY(qAbs(qBlue(back) - qBlue(colour)) <= 8);
    }
}

void TestColour::labdiffTruncatesTheDistance()
{
    QCOMPARE(labdiff(short(0), short(0), short(0), short(3), short(4), short(0)), 5);
    QCOMPARE(labdiff(short(0), short(0), short(0), short(1), short(1), short(1)), 1);
    QCOMPARE(labdiff(short(-10), short(0), short(0), short(10), short(0), short(0)), 20);
    // Black to white: 100 apart in lightness alone.
    QCOMPARE(labdiff(0xFF000000u, 0xFFFFFFFFu), 100);
    // Red (53, 80, 67) to black: sqrt(53² + 80² + 67²) = 117.1...
    QCOMPARE(labdiff(0xFFFF0000u, 0xFF000000u), 117);
}

void TestColour::lightnessTableMatchesRgbtolForEveryColour()
{
    const LightnessTable &table = LightnessTable::instance();
    int mismatches = 0;
    QRgb firstMismatch = 0;
    for (uint colour = 0; colour < (1u << 24); ++colour) {
        if (table.lightness(colour) != reference::rgbtol(colour)) {
            if (mismatches++ == 0)
                firstMismatch = colour;
        }
    }
    QVERIFY2(mismatches == 0,
             qPrintable(QString("%1 colours differ, the first #%2")
                                .arg(mismatches)
                                .arg(firstMismatch, 6, 16, QChar('0'))));
}

void TestColour::rgbtolabManyMatchesRgbtolabForEveryColour()
{
    // A million colours at a time keeps the memory small.
    constexpr uint Chunk = 1u << 20;
    std::vector<QRgb> colours(Chunk);
    std::vector<qint16> L(Chunk), a(Chunk), b(Chunk);
    int mismatches = 0;
    QRgb firstMismatch = 0;
    for (uint start = 0; start < (1u << 24); start += Chunk) {
        for (uint i = 0; i < Chunk; ++i)
            colours[i] = 0xFF000000u | (start + i);
        rgbtolabMany(colours.data(), Chunk, L.data(), a.data(), b.data());
        for (uint i = 0; i < Chunk; ++i) {
            int l, aa, bb;
            rgbtolab(colours[i], &l, &aa, &bb);
            if (L[i] != l || a[i] != aa || b[i] != bb) {
                if (mismatches++ == 0)
                    firstMismatch = colours[i];
            }
        }
    }
    QVERIFY2(mismatches == 0,
             qPrintable(QString("%1 colours differ, the first #%2")
                                .arg(mismatches)
                                .arg(firstMismatch, 8, 16, QChar('0'))));
}

// The conversions themselves against their literal transcriptions, on every
// third value of each channel.
void TestColour::rgbtolabMatchesTheLiteralConversion()
{
    for (int r = 0; r < 256; r += 3) {
        for (int g = 0; g < 256; g += 3) {
            for (int b = 0; b < 256; b += 3) {
                const QRgb colour = qRgb(r, g, b);
                int L, A, B, refL, refA, refB;
                rgbtolab(colour, &L, &A, &B);
                reference::rgbtolab(colour, &refL, &refA, &refB);
                if (L != refL || A != refA || B != refB)
                    QFAIL(qPrintable(QString("rgbtolab(#%1) is (%2, %3, %4), not (%5, %6, %7)")
                                             .arg(colour, 8, 16, QChar('0'))
                                             .arg(L)
                                             .arg(A)
                                             .arg(B)
                                             .arg(refL)
                                             .arg(refA)
                                             .arg(refB)));
            }
        }
    }
}

// Every lightness, every second a and b, out of gamut included.
void TestColour::lab2rgbMatchesTheLiteralConversion()
{
    for (int L = 0; L <= 100; ++L) {
        for (int a = -128; a < 128; a += 2) {
            for (int b = -128; b < 128; b += 2) {
                if (lab2rgb(L, a, b) != reference::lab2rgb(L, a, b))
                    QFAIL(qPrintable(QString("lab2rgb(%1, %2, %3) is #%4, not #%5")
                                             .arg(L)
                                             .arg(a)
                                             .arg(b)
                                             .arg(lab2rgb(L, a, b), 8, 16, QChar('0'))
                                             .arg(reference::lab2rgb(L, a, b), 8, 16, QChar('0'))));
            }
        }
    }
}

void TestColour::rgbtolabManyIgnoresAlphaAndHandlesShortRuns()
{
    const std::vector<QRgb> colours
            = {0x00FF0000u, 0x80808080u, 0xFFFFFFFFu, 0x12000000u, 0xFF00FF00u};
    for (size_t count = 0; count <= colours.size(); ++count) {
        std::vector<qint16> L(count + 1, 77), a(count + 1, 77), b(count + 1, 77);
        rgbtolabMany(colours.data(), count, L.data(), a.data(), b.data());
        for (size_t i = 0; i < count; ++i) {
            int l, aa, bb;
            rgbtolab(colours[i] | 0xFF000000u, &l, &aa, &bb);
            QCOMPARE(L[i], qint16(l));
            QCOMPARE(a[i], qint16(aa));
            QCOMPARE(b[i], qint16(bb));
        }
        // Nothing past the end is written.
        QCOMPARE(L[count], qint16(77));
    }
    qint16 L, a, b;
    rgbtolabMany(colours.data(), 1, &L, &a, &b);
    QCOMPARE(L, qint16(53));
    QCOMPARE(a, qint16(80));
    QCOMPARE(b, qint16(67));
}

QTEST_APPLESS_MAIN(TestColour)
#include "tst_colour.moc"
