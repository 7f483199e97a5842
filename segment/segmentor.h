#pragma once

#include "labstruct.h"
#include "largearray.h"
#include "neighbourlists.h"
#include "priorqueue.h"

#include <QImage>
#include <QPoint>

#include <functional>
#include <utility>
#include <vector>

// The likeness of a cluster that never merges again, full or without
// neighbours: above every threshold the command passes.
constexpr quint16 NeverMerges = 999;
// The likeness a cluster's smallest distance is capped at; real distances
// between Lab colours stay far below it.
constexpr quint16 LikenessCeiling = 500;

// One region of the segmentation, with its first neighbours: what a merge
// reads of a cluster lies in one 64-byte record, one cache line. Clusters
// live in one array of the segmenter, numbered by creation: the cluster
// first seeded at pixel (x, y) is number x * height + y, and every walk
// over neighbours goes by these numbers.
struct CCluster
{
    // The smallest distance to a neighbour, at most LikenessCeiling;
    // NeverMerges when the cluster is full or has no neighbours.
    quint16 m_likeness;
    // The priority under which the cluster is filed, and its slot there;
    // slot -1 while it is not filed.
    quint16 m_filedAt;
    qint32 m_slot;
    qint32 m_pixelCount;
    // The number of the region's colour in the colour table.
    qint32 m_colour;
    Labstruct m_lab;
    bool m_deleted;
    NeighbourList m_neighbours;

    qint64 handle() const { return m_slot < 0 ? -1 : index2handle(m_filedAt, m_slot); }
};
static_assert(sizeof(CCluster) == 64, "one cluster to a cache line");

// The records of a segmenter, each on a cache line of its own.
class ClusterArray
{
public:
    explicit ClusterArray(size_t size);
    ~ClusterArray();
    ClusterArray(const ClusterArray &) = delete;
    ClusterArray &operator=(const ClusterArray &) = delete;

    size_t size() const { return m_size; }
    CCluster &operator[](size_t i) { return m_data[i]; }
    const CCluster &operator[](size_t i) const { return m_data[i]; }

private:
    void *m_memory;
    size_t m_bytes;
    CCluster *m_data;
    size_t m_size;
};

class ChangeMap;
struct DistancesAhead;

// Greedy region merging, from one cluster per pixel. The cluster with the
// smallest colour distance to a neighbour is taken from a bucket queue and
// eaten by that neighbour; a merged region keeps the colour of the larger
// part; a region of more than `clusterSize` pixels stops taking part. Next()
// merges until the distance merged reaches a new level.
class CSegmentor
{
public:
    static constexpr int NoCluster = -1;

    // How the neighbour entries are kept: packed in four bytes when every
    // cluster number fits (Automatic chooses), or eight.
    enum class Entries { Automatic, Wide };
    // Whether a picture of `count` pixels can have packed entries.
    static bool packs(size_t count) { return count <= PackedEntries::MaxKey + 1; }

    // `image` is taken as 32-bit; the segmenter keeps a copy of it.
    CSegmentor(const QImage &image, int clusterSize, Entries entries = Entries::Automatic);
    CSegmentor(const CSegmentor &) = delete;
    CSegmentor &operator=(const CSegmentor &) = delete;

    // Merges until a new level is reached (true) or until the distance
    // passes `limit` or nothing is left (false). Calls the yield function
    // after every merge.
    bool Next(int limit);
    // The picture of the current segmentation: every live region in its
    // colour, every other pixel the value 2.
    QImage CurrentImage();
    // For a caller that keeps one picture of the segmentation up to date
    // from level to level: paints `image` (the size and format of
    // CurrentImage()) whole, or, when it holds what the previous call
    // painted and the journal holds every change since (journaling on, no
    // checkpoint or rollback in between), only the pixels whose region was
    // removed or recoloured since. Then checkpoints. `changed` marks the
    // pixels that changed value.
    void updateImage(QImage &image, bool whole, ChangeMap &changed);
    int prevval() const { return m_prevval; }
    void setYield(const std::function<void()> &yield) { m_yield = yield; }

    // Keeps a record of what changes the picture (colours, eaters and
    // deletions), so that the picture of an earlier moment can be made
    // without making one at every level: checkpoint() marks the moment,
    // rollback() returns the picture to it. After a rollback only
    // CurrentImage() may be called.
    void setJournaling(bool on);
    void checkpoint()
    {
        m_removed.clear();
        m_recoloured.clear();
    }
    void rollback();

    // The clusters and their operations, by cluster number.
    int clusterCount() const { return int(m_clusters.size()); }
    int clusterAt(int x, int y) const { return x * m_height + y; }
    const CCluster &cluster(int c) const { return m_clusters[size_t(c)]; }
    const Labstruct &lab(int c) const { return m_clusters[size_t(c)].m_lab; }
    QRgb color(int c);
    int cdiff(int c, int other) const { return clabdiff(lab(c), lab(other)); }
    unsigned short likeness(int c) const { return m_clusters[size_t(c)].m_likeness; }
    // The neighbours in order, with their distances.
    std::vector<std::pair<int, int>> neighbours(int c) const;
    std::vector<QPoint> pixels(int c);
    void SetNeighbours(int c, const std::vector<int> &list);
    void NewNeighbour(int c, int old, int replacement);
    void NotifyNeighbours(int c, int replacement);
    void update(int c);
    void EatNeighbour(int eater, int victim);
    int Feed(int c);
    int Eat(int c);
    bool EatAll(int c);
    // Deletes a cluster that left the queue: its neighbours keep whatever
    // they hold, its pixels go unless it was eaten.
    void remove(int c);
    // Takes a cluster out of the queue and deletes it.
    void discard(int c);

    const CPriorQueue2 &queue() const { return m_queue; }
    int clusterThreshold() const { return m_clusterthresh; }
    bool wideEntries() const { return m_wide; }

private:
    CCluster &at(int c) { return m_clusters[size_t(c)]; }
    std::vector<quint32> makeClusters();
    void wire(const std::vector<quint32> &colours);
    template<typename Form>
    void writeClusters(const std::vector<quint32> &colours, const DistancesAhead *ahead,
                       const std::vector<quint16> &likeness, const std::vector<qint32> &filedSlots);
    int rootOf(int c);
    // The value of pixels that belong to no live region.
    QRgb noRegion() const;
    void knowAllColours();
    void paintRegions(QImage &image, bool whole, ChangeMap &changed);
    bool paintStrip(uchar *bits, qsizetype stride, bool whole, int left, std::vector<QRgb> &strip,
                    ChangeMap &changed);
    // The buffers only grow: the entries past `count` are left over from
    // earlier notifications.
    struct Snapshot
    {
        quint32 count = 0;
        std::vector<quint32> keys;
        std::vector<quint16> distances;
    };

    static constexpr quint16 NoDistance = 0xFFFF;

    // The neighbour lists of one form of entries, and the room a merge of
    // two lists is made in.
    template<typename Form>
    struct Lists
    {
        NeighbourPool<Form> pool;
        std::vector<typename Form::Word> merged;
    };
    template<typename Form>
    Lists<Form> &lists();
    template<typename Form>
    const Lists<Form> &lists() const;
    // Calls `work` with the form of entries of this segmenter.
    template<typename Work>
    decltype(auto) withEntries(Work &&work);
    template<typename Work>
    decltype(auto) withEntries(Work &&work) const;

    // The operations, for one form of entries.
    template<typename Form>
    bool next(int limit);
    template<typename Form>
    void notify(int c, int replacement);
    // NewNeighbour(); returns the distance written, NoDistance for none.
    template<typename Form>
    quint16 receive(int c, int old, int replacement);
    template<typename Form>
    void updateWith(int c);
    template<typename Form>
    void eatNeighbour(int eater, int victim);
    template<typename Form>
    quint16 mergeVictimsNeighbours(int eater, int victim, const Snapshot &told);
    // The first neighbour at the cluster's likeness, or NoCluster.
    template<typename Form>
    int nearestNeighbour(int c) const;
    template<typename Form>
    bool eatAll(int c);
    template<typename Form>
    void prefetchNext();

    // Sets the likeness and moves the cluster in the queue when it changed.
    void refile(int c, quint16 likeness)
    {
        CCluster &cluster = at(c);
        cluster.m_likeness = likeness;
        if (cluster.m_slot >= 0 && cluster.m_filedAt != likeness)
            move(cluster);
    }
    void move(CCluster &cluster);
    // What rollback() undoes: a live cluster deleted (eaten or not), and
    // a colour changed.
    void recordRemoval(int c)
    {
        if (m_journaling)
            m_removed.push_back(c);
    }
    void recordRecolouring(int c, qint32 previous)
    {
        if (m_journaling)
            m_recoloured.push_back({c, previous});
    }

    QImage m_image;
    int m_width;
    int m_height;
    // The largest pixel count a cluster may have and still merge, as a
    // 16-bit signed value.
    qint16 m_clusterthresh;
    bool m_wide;
    ClusterArray m_clusters;
    // What only the pictures read, beside the clusters: the cluster that
    // ate each one, or itself (the pixels of a cluster are those whose chain
    // of eaters ends at it).
    LargeArray<qint32> m_eaters;
    Lists<PackedEntries> m_packed;
    Lists<WideEntries> m_wideLists;
    CPriorQueue2 m_queue;
    int m_prevval = 0;
    // Lab and display colour of every Lab colour of the picture.
    std::vector<Labstruct> m_colourLabs;
    std::vector<QRgb> m_colourRgbs;
    std::vector<bool> m_colourRgbKnown;
    std::function<void()> m_yield;
    // Key snapshots of the notifications in progress, one per depth.
    std::vector<Snapshot> m_snapshots;
    bool m_journaling = false;
    std::vector<qint32> m_removed;
    std::vector<std::pair<qint32, qint32>> m_recoloured;
    // Marks the clusters journaled since the checkpoint while a picture is
    // brought up to date; all clear in between.
    std::vector<quint8> m_marks;
    // The region each pixel was painted with by updateImage().
    LargeArray<qint32> m_regions;
    bool m_allColoursKnown = false;
    int m_depth = 0;
};

template<>
inline CSegmentor::Lists<PackedEntries> &CSegmentor::lists<PackedEntries>()
{
    return m_packed;
}
template<>
inline CSegmentor::Lists<WideEntries> &CSegmentor::lists<WideEntries>()
{
    return m_wideLists;
}
template<>
inline const CSegmentor::Lists<PackedEntries> &CSegmentor::lists<PackedEntries>() const
{
    return m_packed;
}
template<>
inline const CSegmentor::Lists<WideEntries> &CSegmentor::lists<WideEntries>() const
{
    return m_wideLists;
}

template<typename Work>
decltype(auto) CSegmentor::withEntries(Work &&work)
{
    if (m_wide)
        return work(WideEntries());
    return work(PackedEntries());
}

template<typename Work>
decltype(auto) CSegmentor::withEntries(Work &&work) const
{
    if (m_wide)
        return work(WideEntries());
    return work(PackedEntries());
}
