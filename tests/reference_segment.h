#pragma once

// A slow, literal colour-sketch segmenter: one heap cluster per pixel, each
// with a map of its neighbours, filed in a bucket queue that leaves null
// slots behind, merged one cluster at a time. The fast segmenter is compared
// with it picture for picture and merge for merge.

#include "progress.h"

#include <QImage>
#include <QList>
#include <QMap>
#include <QPoint>

namespace reference {

class CCluster;
class CPriorQueue2;

struct Labstruct
{
    qint16 L, a, b;
};

inline bool operator==(Labstruct p, Labstruct q)
{
    return p.L == q.L && p.a == q.a && p.b == q.b;
}

// The truncated Lab distance: dL squared in double, da and db squared in
// 32-bit integers.
int clabdiff(Labstruct p, Labstruct q);

// Neighbours are ordered by the creation index of their cluster (x * height
// + y for the cluster seeded at (x, y)), so that every walk over a map, and
// with it every tie-break, is the same from run to run.
struct ClusterKey
{
    CCluster *cluster;
    int index;
};

inline bool operator<(ClusterKey p, ClusterKey q)
{
    return p.index < q.index;
}

// One region: its pixels, its colour, the distance to every neighbour and its
// place in the queue. The fields are open so that the tests can set up the
// queue and the neighbour maps by hand.
class CCluster
{
public:
    CCluster(int index, int x, int y, unsigned int rgb, CPriorQueue2 *queue);

    void rgbtolab(unsigned int rgb);
    QRgb color() const;
    int cdiff(const CCluster *other) const;
    unsigned short likeness() const { return m_likeness; }
    QList<QPoint> pixels() const { return m_pixels; }
    QList<CCluster *> neighbours() const;
    ClusterKey key() { return ClusterKey {this, m_index}; }

    bool SetNeighbours(const QList<CCluster *> &list);
    bool NewNeighbour(CCluster *old, CCluster *replacement);
    bool NotifyNeighbours(CCluster *replacement);
    void update();
    bool EatNeighbour(CCluster *victim);
    CCluster *Feed();

    // An eaten cluster stays allocated, marked, until its segmenter goes, so
    // that a stale key naming it can still be recognised; its pixels and
    // neighbours are released at once.
    void retire();
    bool isDeleted() const { return m_deleted; }

    static qint16 m_clusterthresh;

    QMap<ClusterKey, unsigned short> m_neighbours;
    unsigned short m_likeness = 500;
    QList<QPoint> m_pixels;
    short m_x, m_y;
    qint64 m_handle = -1;
    CPriorQueue2 *m_queue;
    Labstruct m_lab {0, 0, 0};
    int m_index;
    bool m_deleted = false;
};

qint64 index2handle(int priority, int index);
int handle2priority(quint64 h);
int handle2index(quint64 h);

// A bucket per priority 0 .. 999; a cluster that leaves a bucket leaves a
// null behind, so that the handles of the others stay valid.
class CPriorQueue2
{
public:
    static constexpr int Buckets = 1000;

    CPriorQueue2();

    qint64 Register(CCluster *c);
    qint64 Update(qint64 h);
    bool Remove(qint64 h);
    CCluster *take();
    CCluster *get() const;
    QList<CCluster *> Clusters() const;
    const QList<CCluster *> &bucket(int priority) const { return m_buckets[priority]; }

private:
    QList<QList<CCluster *>> m_buckets;
    QList<QList<int>> m_freeSlots;
    QList<int> m_firstLive;
};

class LiteralSegmentor
{
public:
    LiteralSegmentor(const QImage &image, int clusterSize); // image is 32-bit
    ~LiteralSegmentor(); // releases the clusters still filed
    LiteralSegmentor(const LiteralSegmentor &) = delete;
    LiteralSegmentor &operator=(const LiteralSegmentor &) = delete;

    bool Next(int limit);
    QImage CurrentImage() const;
    int prevval() const { return m_prevval; }
    qint64 taken() const { return m_taken; } // clusters taken from the queue so far
    const CPriorQueue2 &queue() const { return m_queue; }
    // The cluster first seeded at (x, y): alive, eaten or deleted.
    CCluster *clusterAt(int x, int y) const { return m_clusters.value(x + y * m_image.width()); }

private:
    void wire(CCluster *c, int w, int h);

    QImage m_image;
    QMap<int, CCluster *> m_clusters;
    CPriorQueue2 m_queue;
    int m_prevval = 0;
    qint64 m_taken = 0;
};

// The working picture of a colour sketch: pictures of more than a million
// pixels are scaled down to about a million, others are used as they are.
QImage colourSketchWorkingPicture(const QImage &source);

// The colour-sketch command without a window: the size reduction, a
// segmenter, and every picture shown (CurrentImage after each true return of
// Next, scaled back to the source width); progress 5, 10, then
// step / limit + 10 after each shown level (step starting at 90, += 90).
QList<QImage> colourSketchLevels(const QImage &source, int limit, int brush,
                                 const Progress &progress = {});

} // namespace reference
