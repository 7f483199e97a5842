#include "pngwriter.h"

#include "deflatebands.h"
#include "pixelkind.h"
#include "pngchunks.h"
#include "taskrunner.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace {

// Rows are compressed in bands of about this many bytes. The bands do not
// depend on the number of threads, so neither does the file.
constexpr std::size_t BandBytes = std::size_t(1) << 20;
// The kind of the pixels is found in groups of this many rows.
constexpr int KindRows = 64;
// About this many bytes of rows are compressed with each filter to choose
// one for the picture, in groups of this many rows one under the other.
constexpr std::size_t SampleBytes = std::size_t(1) << 18;
constexpr int SampleGroupRows = 8;

QImage thirtyTwoBit(const QImage &image)
{
    if (image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32)
        return image;
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32
                                                         : QImage::Format_RGB32);
}

// libdeflate's levels, as measured on drawings of 15 megapixels. Level 1
// leaves colour drawings a tenth larger than Qt's writer, level 2 a twentieth
// for a little more time; grey drawings gain nothing from level 2. Level 6
// makes files about a tenth smaller than the fast ones at twice or three
// times the time; above it the time grows much faster than the files shrink.
int deflateLevel(PngLevel level, PngColourType type)
{
    const bool colour = type == PngColourType::Rgb || type == PngColourType::Rgba;
    if (level == PngLevel::Small)
        return 6;
    return colour ? 2 : 1;
}

std::size_t rowBytes(const QImage &image, PngColourType type)
{
    return std::size_t(image.width()) * std::size_t(bytesPerPixel(type));
}

PngColourType colourType(const QImage &image, TaskRunner &runner)
{
    const int groups = (image.height() + KindRows - 1) / KindRows;
    std::vector<PixelKind> kinds(static_cast<std::size_t>(groups));
    runner.run(groups, [&](int group) {
        kinds[std::size_t(group)] = rowsKind(image, group * KindRows,
                                             std::min(image.height(), (group + 1) * KindRows));
    });
    PixelKind kind;
    for (const PixelKind &group : kinds)
        kind &= group;
    if (kind.grey)
        return kind.opaque ? PngColourType::Grey : PngColourType::GreyAlpha;
    return kind.opaque ? PngColourType::Rgb : PngColourType::Rgba;
}

// Packs and filters rows `first` .. `end` - 1 into `out`, one filter byte and
// one row after another; the row above `first` is packed again for the
// filters that look up.
void filterRows(const QImage &image, PngColourType type, PngFilter filter, int first, int end,
                std::vector<std::uint8_t> &out)
{
    const std::size_t bytes = rowBytes(image, type);
    const int pixelBytes = bytesPerPixel(type);
    std::vector<std::uint8_t> above(bytes, 0), row(bytes);
    if (first > 0 && filter == PngFilter::Up)
        packRow(reinterpret_cast<const QRgb *>(image.constScanLine(first - 1)), image.width(), type,
                above.data());
    out.resize(std::size_t(end - first) * (bytes + 1));
    for (int y = first; y < end; ++y) {
        packRow(reinterpret_cast<const QRgb *>(image.constScanLine(y)), image.width(), type,
                row.data());
        filterRow(filter, row.data(), above.data(), bytes, pixelBytes,
                  out.data() + std::size_t(y - first) * (bytes + 1));
        above.swap(row);
    }
}

// The filter that compresses a sample of the picture best: groups of rows
// spread evenly over it, each filtered with every filter and compressed.
// Which filter suits a drawing depends on its kind (None for the poster's
// flat areas and the pen's lines, Up for hatching and the colour sketch's
// smooth strokes); trying them costs a few percent of the write. Paeth is
// not tried: it made no drawing measured smaller than Up did, and costs
// several times as much to compute.
PngFilter chooseFilter(const QImage &image, PngColourType type, int level, TaskRunner &runner)
{
    const std::size_t bytes = rowBytes(image, type) + 1;
    const int sampleRows = int(std::clamp<std::size_t>(SampleBytes / bytes, 1, image.height()));
    const int groups = std::max(1, sampleRows / SampleGroupRows);
    const int groupRows = std::min(sampleRows, SampleGroupRows);
    const PngFilter filters[] = {PngFilter::None, PngFilter::Sub, PngFilter::Up};
    std::size_t sizes[3] = {};
    runner.run(3, [&](int which) {
        try {
            std::vector<std::uint8_t> sample, rows;
            for (int group = 0; group < groups; ++group) {
                const int first
                        = int(qint64(image.height() - groupRows) * group / std::max(1, groups - 1));
                filterRows(image, type, filters[which], first, first + groupRows, rows);
                sample.insert(sample.end(), rows.begin(), rows.end());
            }
            sizes[which] = deflateBand(level, sample.data(), sample.size(), true).size();
        } catch (const std::bad_alloc &) {
            sizes[which] = 0;
        }
    });
    int best = 0;
    for (int which = 1; which < 3; ++which) {
        // A filter that could not be tried (out of memory) says 0: skip it.
        if (sizes[which] != 0 && (sizes[best] == 0 || sizes[which] < sizes[best]))
            best = which;
    }
    return filters[best];
}

struct Band
{
    std::vector<std::uint8_t> deflated;
    std::uint32_t adler = 1;
    std::size_t rawSize = 0;
};

int bandRows(const QImage &image, PngColourType type)
{
    return int(std::clamp<std::size_t>(BandBytes / (rowBytes(image, type) + 1), 1,
                                       std::size_t(image.height())));
}

// Compresses every band; false when the write was stopped or memory ran out.
bool compressBands(const QImage &image, const PngLayout &layout, int level,
                   const PngWriteOptions &options, TaskRunner &runner, std::vector<Band> &bands)
{
    const int rows = bandRows(image, layout.colourType);
    bands.resize(std::size_t(layout.bands));
    std::atomic<bool> failed {false};
    runner.run(layout.bands, [&](int index) {
        if (failed || (options.stopped && options.stopped())) {
            failed = true;
            return;
        }
        try {
            Band &band = bands[std::size_t(index)];
            // Kept by each thread for its next band, and its next picture.
            thread_local std::vector<std::uint8_t> raw;
            const int first = index * rows;
            filterRows(image, layout.colourType, layout.filter, first,
                       std::min(image.height(), first + rows), raw);
            band.rawSize = raw.size();
            band.adler = adler32Of(raw.data(), raw.size());
            band.deflated = deflateBand(level, raw.data(), raw.size(), index + 1 == layout.bands);
            if (band.deflated.empty())
                failed = true;
        } catch (const std::bad_alloc &) {
            failed = true;
        }
    });
    return !failed;
}

bool writeFile(QIODevice *device, const QImage &image, const PngLayout &layout, int level,
               const std::vector<Band> &bands)
{
    if (!writeSignature(device) || !writeHeader(device, image.size(), layout.colourType)
        || !writeMetadata(device, image))
        return false;
    const std::vector<std::uint8_t> header = zlibHeader(level);
    std::uint32_t adler = 1;
    for (std::size_t i = 0; i < bands.size(); ++i) {
        adler = combinedAdler32(adler, bands[i].adler, bands[i].rawSize);
        const std::vector<std::uint8_t> &data = bands[i].deflated;
        const bool first = i == 0, last = i + 1 == bands.size();
        const std::uint8_t check[] = {std::uint8_t(adler >> 24), std::uint8_t(adler >> 16),
                                      std::uint8_t(adler >> 8), std::uint8_t(adler)};
        if (!writeChunk(device, "IDAT",
                        {{header.data(), first ? header.size() : 0},
                         {data.data(), data.size()},
                         {check, last ? sizeof check : 0}}))
            return false;
    }
    return writeEnd(device);
}

std::unique_ptr<TaskRunner> ownRunner(const PngWriteOptions &options)
{
    if (options.runner)
        return nullptr;
    return std::make_unique<ThreadsPerRun>(options.threads);
}

PngLayout layoutFor(const QImage &image, PngLevel level, TaskRunner &runner)
{
    PngLayout layout;
    layout.colourType = colourType(image, runner);
    layout.filter = chooseFilter(image, layout.colourType, deflateLevel(level, layout.colourType),
                                 runner);
    const int rows = bandRows(image, layout.colourType);
    layout.bands = (image.height() + rows - 1) / rows;
    return layout;
}

} // namespace

bool writePng(const QImage &source, QIODevice *device, const PngWriteOptions &options,
              QString *error, PngLayout *chosen)
{
    if (source.isNull()) {
        *error = QStringLiteral("the picture is empty");
        return false;
    }
    try {
        const QImage image = thirtyTwoBit(source);
        if (image.isNull()) {
            *error = QStringLiteral("not enough memory to convert the picture");
            return false;
        }
        const std::unique_ptr<TaskRunner> own = ownRunner(options);
        TaskRunner &runner = options.runner ? *options.runner : *own;
        const PngLayout layout = layoutFor(image, options.level, runner);
        if (chosen)
            *chosen = layout;
        const int level = deflateLevel(options.level, layout.colourType);
        std::vector<Band> bands;
        if (!compressBands(image, layout, level, options, runner, bands)) {
            *error = options.stopped && options.stopped()
                    ? QStringLiteral("stopped")
                    : QStringLiteral("not enough memory to compress the picture");
            return false;
        }
        if (!writeFile(device, image, layout, level, bands)) {
            *error = device->errorString();
            return false;
        }
    } catch (const std::bad_alloc &) {
        *error = QStringLiteral("not enough memory to write the picture");
        return false;
    }
    return true;
}

PngLayout choosePngLayout(const QImage &image, PngLevel level, int threads)
{
    ThreadsPerRun runner(threads);
    return layoutFor(thirtyTwoBit(image), level, runner);
}
