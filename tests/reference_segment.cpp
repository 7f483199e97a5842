#include "reference_segment.h"

#include "colour.h"

#include <QDebug>

#include <cmath>
#include <utility>

namespace reference {

namespace {

// 32-bit signed products and sums, wrapping as the machine does; Lab values
// never come near the limit.
qint32 wrappedSquare(qint32 d)
{
    return qint32(quint32(d) * quint32(d));
}

qint32 wrappedProduct(qint32 a, qint32 b)
{
    return qint32(quint32(a) * quint32(b));
}

} // namespace

int clabdiff(Labstruct p, Labstruct q)
{
    const qint32 dL = qint32(p.L) - qint32(q.L);
    const qint32 da = qint32(p.a) - qint32(q.a);
    const qint32 db = qint32(p.b) - qint32(q.b);
    return int(std::sqrt(double(dL) * double(dL) + wrappedSquare(da) + wrappedSquare(db)));
}

// ---- CCluster ----

qint16 CCluster::m_clusterthresh = 0;

CCluster::CCluster(int index, int x, int y, unsigned int rgb, CPriorQueue2 *queue)
    : m_x(short(x))
    , m_y(short(y))
    , m_queue(queue)
    , m_index(index)
{
    rgbtolab(rgb);
    m_pixels.append(QPoint(x, y));
}

void CCluster::rgbtolab(unsigned int rgb)
{
    int L = 0, a = 0, b = 0;
    ::rgbtolab(rgb, &L, &a, &b);
    m_lab = Labstruct {qint16(L), qint16(a), qint16(b)};
}

QRgb CCluster::color() const
{
    return lab2rgb(m_lab.L, m_lab.a, m_lab.b);
}

int CCluster::cdiff(const CCluster *other) const
{
    return clabdiff(m_lab, other->m_lab);
}

QList<CCluster *> CCluster::neighbours() const
{
    QList<CCluster *> list;
    for (const ClusterKey &key : m_neighbours.keys())
        list.append(key.cluster);
    return list;
}

bool CCluster::SetNeighbours(const QList<CCluster *> &list)
{
    for (CCluster *n : list)
        m_neighbours[n->key()] = static_cast<unsigned short>(cdiff(n));
    update();
    return true;
}

bool CCluster::NewNeighbour(CCluster *old, CCluster *replacement)
{
    if (!replacement) {
        m_neighbours.remove(old->key());
    } else if (replacement == old) {
        m_neighbours[old->key()] = static_cast<unsigned short>(cdiff(old));
    } else {
        m_neighbours.remove(old->key());
        m_neighbours[replacement->key()] = static_cast<unsigned short>(cdiff(replacement));
    }
    update();
    return true;
}

bool CCluster::NotifyNeighbours(CCluster *replacement)
{
    const QList<ClusterKey> keys = m_neighbours.keys();
    for (const ClusterKey &key : keys) {
        CCluster *n = key.cluster;
        if (n == replacement)
            continue;
        // A cluster eaten since this key was written gets no message.
        if (n->m_deleted)
            continue;
        n->NewNeighbour(this, replacement);
    }
    return true;
}

void CCluster::update()
{
    m_likeness = 500;
    if (m_pixels.size() > qsizetype(m_clusterthresh)) {
        NotifyNeighbours(nullptr);
        m_likeness = 999;
    } else if (!m_neighbours.isEmpty()) {
        for (unsigned short distance : m_neighbours)
            m_likeness = std::min(m_likeness, distance);
    } else {
        m_likeness = 999;
    }
    if (m_handle >= 0)
        m_handle = m_queue->Update(m_handle);
}

bool CCluster::EatNeighbour(CCluster *victim)
{
    m_neighbours.remove(victim->key());
    const qsizetype nThis = m_pixels.size();
    const qsizetype nVictim = victim->m_pixels.size();
    if (nThis < nVictim && !(m_lab == victim->m_lab)) {
        m_lab = victim->m_lab;
        NotifyNeighbours(this);
    }
    victim->NotifyNeighbours(this);
    // Only the victim's neighbours get fresh distances; the entries for this
    // cluster's own neighbours keep theirs, even after a change of colour.
    const QList<ClusterKey> keys = victim->m_neighbours.keys();
    for (const ClusterKey &key : keys) {
        if (key.cluster != this)
            m_neighbours[key] = static_cast<unsigned short>(cdiff(key.cluster));
    }
    m_pixels.append(victim->m_pixels);
    update();
    return true;
}

CCluster *CCluster::Feed()
{
    const QList<ClusterKey> keys = m_neighbours.keys();
    for (const ClusterKey &key : keys) {
        if (m_neighbours[key] == m_likeness)
            return key.cluster->EatNeighbour(this) ? key.cluster : nullptr;
    }
    return nullptr;
}

void CCluster::retire()
{
    m_deleted = true;
    m_neighbours = {};
    m_pixels = {};
}

// ---- CPriorQueue2 ----

qint64 index2handle(int priority, int index)
{
    return (qint64(priority) << 48) + qint64(index);
}

int handle2priority(quint64 h)
{
    return int(h >> 48);
}

int handle2index(quint64 h)
{
    return int(quint32(h & 0xFFFFFFFFu));
}

CPriorQueue2::CPriorQueue2()
{
    for (int p = 0; p < Buckets; ++p) {
        m_buckets.append(QList<CCluster *>());
        m_freeSlots.append(QList<int>());
        m_firstLive.append(0);
    }
}

qint64 CPriorQueue2::Register(CCluster *c)
{
    const int p = c->likeness();
    m_buckets[p].append(c);
    return index2handle(p, int(m_buckets[p].size() - 1));
}

qint64 CPriorQueue2::Update(qint64 h)
{
    const int p = handle2priority(quint64(h));
    const int i = handle2index(quint64(h));
    CCluster *c = m_buckets[p][i];
    if (c->likeness() == p)
        return h;
    m_buckets[p][i] = nullptr;
    return Register(c);
}

bool CPriorQueue2::Remove(qint64 h)
{
    m_buckets[handle2priority(quint64(h))][handle2index(quint64(h))] = nullptr;
    return true;
}

CCluster *CPriorQueue2::take()
{
    for (int p = 0; p < Buckets; ++p) {
        while (!m_buckets[p].isEmpty()) {
            CCluster *c = m_buckets[p].takeLast();
            if (c)
                return c;
        }
    }
    return nullptr;
}

CCluster *CPriorQueue2::get() const
{
    for (int p = 0; p < Buckets; ++p) {
        const QList<CCluster *> &bucket = m_buckets[p];
        if (bucket.size() > m_freeSlots[p].size() && bucket.size() > m_firstLive[p]) {
            for (qsizetype i = m_firstLive[p]; i < bucket.size(); ++i) {
                if (bucket[i])
                    return bucket[i];
            }
        }
    }
    return nullptr;
}

QList<CCluster *> CPriorQueue2::Clusters() const
{
    QList<CCluster *> list;
    for (int p = 0; p < Buckets; ++p) {
        const QList<CCluster *> &bucket = m_buckets[p];
        if (bucket.size() > m_freeSlots[p].size()) {
            for (CCluster *c : bucket) {
                if (c)
                    list.append(c);
            }
        }
    }
    return list;
}

// ---- LiteralSegmentor ----

LiteralSegmentor::LiteralSegmentor(const QImage &image, int clusterSize)
    : m_image(image)
{
    const int w = image.width(), h = image.height();
    CCluster::m_clusterthresh = qint16(clusterSize);
    for (int x = 0; x < w; ++x) {
        for (int y = 0; y < h; ++y)
            m_clusters[x + y * w] = new CCluster(x * h + y, x, y, image.pixel(x, y), &m_queue);
    }
    for (CCluster *c : std::as_const(m_clusters)) {
        wire(c, w, h);
        c->m_handle = m_queue.Register(c);
    }
    m_prevval = 0;
}

// With a brushstroke size below 1 every cluster is full from the start and
// can never merge. Wiring such clusters would send their notifications round
// the neighbour maps for ever, so each is left without neighbours: full, with
// likeness 999, and telling no one.
void LiteralSegmentor::wire(CCluster *c, int w, int h)
{
    if (CCluster::m_clusterthresh < 1) {
        c->update();
        return;
    }
    const QPoint seed = c->m_pixels.first();
    const int x = seed.x(), y = seed.y();
    QList<CCluster *> list;
    for (int nx = x - 1; nx <= x + 1; ++nx) {
        for (int ny = y - 1; ny <= y + 1; ++ny) {
            if ((nx == x && ny == y) || nx < 0 || nx >= w || ny < 0 || ny >= h)
                continue;
            list.append(m_clusters[nx + ny * w]);
        }
    }
    c->SetNeighbours(list);
}

// Every cluster ever made was made by the constructor and is still in
// m_clusters: the filed ones and the eaten ones kept aside.
LiteralSegmentor::~LiteralSegmentor()
{
    qDeleteAll(m_clusters);
}

bool LiteralSegmentor::Next(int limit)
{
    for (;;) {
        CCluster *c = m_queue.take();
        if (!c)
            return false;
        ++m_taken;
        const int val = c->likeness();
        c->Feed();
        c->retire();
        if (val > limit)
            return false;
        if (val > m_prevval) {
            m_prevval = val;
            return true;
        }
    }
}

QImage LiteralSegmentor::CurrentImage() const
{
    QImage image = m_image.copy();
    image.fill(2u);
    const QList<CCluster *> clusters = m_queue.Clusters();
    for (const CCluster *c : clusters) {
        const QRgb colour = c->color();
        for (const QPoint &p : c->m_pixels)
            image.setPixel(p.x(), p.y(), colour);
    }
    return image;
}

// ---- the command ----

QImage colourSketchWorkingPicture(const QImage &source)
{
    const int w = source.width(), h = source.height();
    const qint32 pixels = wrappedProduct(w, h);
    if (pixels > 1000000) {
        const int nw = int(w * std::sqrt(1000000.0 / pixels));
        return source.scaledToWidth(nw, Qt::FastTransformation);
    }
    return source;
}

QList<QImage> colourSketchLevels(const QImage &picture, int limit, int brush,
                                 const Progress &progress)
{
    const QImage source
            = picture.format() == QImage::Format_RGB32 || picture.format() == QImage::Format_ARGB32
            ? picture
            : picture.convertToFormat(QImage::Format_ARGB32);
    QList<QImage> levels;
    progress.report(5);
    const QImage working = colourSketchWorkingPicture(source);
    LiteralSegmentor segmentor(working, brush);
    progress.report(10);
    int step = 90;
    while (segmentor.Next(limit)) {
        levels.append(
                segmentor.CurrentImage().scaledToWidth(source.width(), Qt::SmoothTransformation));
        progress.report(step / limit + 10);
        step += 90;
    }
    return levels;
}

} // namespace reference
