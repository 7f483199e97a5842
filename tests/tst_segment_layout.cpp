#include "reference_segment.h"
#include "segmentcompare.h"
#include "segmentor.h"
#include "testsupport.h"

#include <QRandomGenerator>
#include <QTest>

using namespace testsupport;

// The boundaries of how the segmenter keeps its neighbour lists: a short
// list lies in the cluster's record and a longer one in the pool, entries
// are packed in four bytes while every cluster number fits and take eight
// beyond.

namespace {

constexpr CSegmentor::Entries bothForms[]
        = {CSegmentor::Entries::Automatic, CSegmentor::Entries::Wide};

QImage column(int height, QRgb top, QRgb rest)
{
    QImage image(1, height, QImage::Format_RGB32);
    image.fill(rest);
    image.setPixel(0, 0, top);
    return image;
}

} // namespace

class TestSegmentLayout : public QObject
{
    Q_OBJECT

private slots:
    void listsGrowPastTheRecordAndShrinkBack();
    void replacingAcrossTheBoundary();
    void wideEntriesMatchLiteral();
    void packedEntryBounds();
    void largestPackedNumber();
    void wideBeyondTheLargestPackedNumber();
};

// One cluster learns of every other cluster, so that its list passes the
// eight (or four) entries of its record and the sixteen of the smallest
// block, then loses them one by one down to none; the literal segmenter
// does the same at every step.
void TestSegmentLayout::listsGrowPastTheRecordAndShrinkBack()
{
    for (const CSegmentor::Entries form : bothForms) {
        const QImage picture = blockyPicture(7, 6, 5);
        const int w = picture.width(), h = picture.height();
        CSegmentor fast(picture, 500, form);
        QCOMPARE(fast.wideEntries(), form == CSegmentor::Entries::Wide);
        reference::LiteralSegmentor literal(picture, 500);
        auto literalOf = [&](int c) { return literal.clusterAt(c / h, c % h); };
        const int c = 20;
        for (int n = 0; n < w * h; ++n) {
            if (n == c)
                continue;
            fast.SetNeighbours(c, {n});
            literalOf(c)->SetNeighbours({literalOf(n)});
            KESTROVA_COMPARE_SEGMENTORS(fast, literal, w, h);
        }
        QCOMPARE(int(fast.neighbours(c).size()), w * h - 1);
        // Out of order, from both ends and the middle.
        for (int step = 0; step < w * h - 1; ++step) {
            const auto list = fast.neighbours(c);
            const int n = list[size_t(step * 7) % list.size()].first;
            fast.NewNeighbour(c, n, CSegmentor::NoCluster);
            literalOf(c)->NewNeighbour(literalOf(n), nullptr);
            KESTROVA_COMPARE_SEGMENTORS(fast, literal, w, h);
        }
        QVERIFY(fast.neighbours(c).empty());
        QCOMPARE(fast.likeness(c), 999);
        // And grows again from nothing.
        fast.SetNeighbours(c, {0, 41, 3, 17, 9, 30, 12, 5, 27, 36});
        literalOf(c)->SetNeighbours({literalOf(0), literalOf(41), literalOf(3), literalOf(17),
                                     literalOf(9), literalOf(30), literalOf(12), literalOf(5),
                                     literalOf(27), literalOf(36)});
        KESTROVA_COMPARE_SEGMENTORS(fast, literal, w, h);
    }
}

// A replacement that moves an entry while the list is exactly as long as
// the record holds, one longer, and one shorter.
void TestSegmentLayout::replacingAcrossTheBoundary()
{
    for (const CSegmentor::Entries form : bothForms) {
        const int inlineEntries = form == CSegmentor::Entries::Wide ? 4 : 8;
        for (int size = inlineEntries - 1; size <= inlineEntries + 1; ++size) {
            const QImage picture = randomPicture(6, 5, quint32(size));
            const int w = picture.width(), h = picture.height();
            CSegmentor fast(picture, 500, form);
            reference::LiteralSegmentor literal(picture, 500);
            auto literalOf = [&](int c) { return literal.clusterAt(c / h, c % h); };
            const int c = 0;
            // Cluster 0 lists 1, 5 and 6 already; far ones come after, all
            // but the last cluster.
            for (int n = w * h - 2; int(fast.neighbours(c).size()) < size; --n) {
                fast.SetNeighbours(c, {n});
                literalOf(c)->SetNeighbours({literalOf(n)});
            }
            KESTROVA_COMPARE_SEGMENTORS(fast, literal, w, h);
            const auto list = fast.neighbours(c);
            const int first = list.front().first, end = w * h - 1;
            // The first entry moves to the end; an entry replaced by one it
            // already has leaves one fewer; a missing one is added.
            const int moves[][2] = {{first, end}, {end, list[1].first}, {3, 2}};
            for (const auto &move : moves) {
                fast.NewNeighbour(c, move[0], move[1]);
                literalOf(c)->NewNeighbour(literalOf(move[0]), literalOf(move[1]));
                KESTROVA_COMPARE_SEGMENTORS(fast, literal, w, h);
            }
        }
    }
}

// The eight-byte entries give what the literal rules give, merge by merge.
void TestSegmentLayout::wideEntriesMatchLiteral()
{
    QRandomGenerator generator(21);
    const int brushes[] = {1, 2, 5, 70, 500};
    for (int round = 0; round < 40; ++round) {
        const int width = 1 + int(generator.bounded(20)), height = 1 + int(generator.bounded(20));
        const QImage picture = round % 2 ? blockyPicture(width, height, generator.generate())
                                         : randomPicture(width, height, generator.generate());
        const int brush = brushes[round % 5];
        CSegmentor fast(picture, brush, CSegmentor::Entries::Wide);
        reference::LiteralSegmentor literal(picture, brush);
        for (int merge = 0; merge < 2000; ++merge) {
            const int limit = fast.prevval();
            const bool level = fast.Next(limit);
            QCOMPARE(level, literal.Next(limit));
            KESTROVA_COMPARE_SEGMENTORS(fast, literal, width, height);
            if (fast.queue().Clusters().empty())
                break;
        }
        KESTROVA_COMPARE_PICTURES(fast.CurrentImage(), literal.CurrentImage());
    }
}

void TestSegmentLayout::packedEntryBounds()
{
    QCOMPARE(PackedEntries::MaxKey, quint64((1u << 22) - 2));
    const quint32 top = quint32(PackedEntries::MaxKey);
    const quint32 word = PackedEntries::make(top, 1023);
    QCOMPARE(PackedEntries::key(word), top);
    QCOMPARE(PackedEntries::distance(word), quint16(1023));
    QVERIFY(word != PackedEntries::Unused);
    QVERIFY(PackedEntries::make(top - 1, 1023) < PackedEntries::make(top, 0));
    QVERIFY(CSegmentor::packs(PackedEntries::MaxKey + 1));
    QVERIFY(!CSegmentor::packs(PackedEntries::MaxKey + 2));
    QCOMPARE(WideEntries::key(WideEntries::make(4194304u, 65535)), 4194304u);
    QCOMPARE(WideEntries::distance(WideEntries::make(4194304u, 65535)), quint16(65535));
}

namespace {

// A white pixel above a black column whose last cluster is number `last`:
// the column's clusters know their neighbours, the white one learns of the
// last at distance 100, and a merge at the end of the column holds.
void checkColumnEndingAt(int last, bool wide)
{
    CSegmentor segmentor(column(last + 1, 0xFFFFFFFFu, 0xFF000000u), 70);
    QCOMPARE(segmentor.wideEntries(), wide);
    QCOMPARE(segmentor.neighbours(last - 1),
             (std::vector<std::pair<int, int>> {{last - 2, 0}, {last, 0}}));
    segmentor.SetNeighbours(0, {last});
    QCOMPARE(segmentor.neighbours(0), (std::vector<std::pair<int, int>> {{1, 100}, {last, 100}}));
    segmentor.EatNeighbour(last - 1, last);
    segmentor.discard(last);
    QCOMPARE(segmentor.neighbours(last - 1), (std::vector<std::pair<int, int>> {{last - 2, 0}}));
    QCOMPARE(segmentor.cluster(last - 1).m_pixelCount, 2);
}

} // namespace

// A picture whose last cluster has the largest number a packed entry holds.
void TestSegmentLayout::largestPackedNumber()
{
    checkColumnEndingAt(int(PackedEntries::MaxKey), false);
}

// One pixel more, and the entries are wide: the same steps still hold.
void TestSegmentLayout::wideBeyondTheLargestPackedNumber()
{
    checkColumnEndingAt(int(PackedEntries::MaxKey) + 1, true);
}

QTEST_APPLESS_MAIN(TestSegmentLayout)
#include "tst_segment_layout.moc"
