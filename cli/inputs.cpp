#include "inputs.h"

#include "imagefiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QHash>
#include <QSet>

namespace {

// Where `output` lies inside `folder`, relative to it; empty when it lies
// elsewhere, is the folder itself or does not exist yet.
QString nestedFolder(const QString &folder, const QString &output)
{
    const QString root = QFileInfo(folder).canonicalFilePath();
    const QString inner = QFileInfo(output).canonicalFilePath();
    if (root.isEmpty() || inner.isEmpty())
        return {};
    const QString relative = QDir(root).relativeFilePath(inner);
    if (relative == QLatin1String(".") || relative.startsWith(QLatin1String("../")))
        return {};
    return relative;
}

// The pictures in `folder` and its subfolders, relative to it and sorted.
// Hidden files and folders are left out (a camera's thumbnails), and so is
// the output folder when it lies inside: a second run must not draw the
// drawings of the first. Links to folders are not followed.
QStringList picturesIn(const QString &folder, const QString &outputFolder)
{
    static const QStringList readable = readableSuffixes();
    static const QSet<QString> suffixes(readable.cbegin(), readable.cend());
    const QString skipped = nestedFolder(folder, outputFolder);
    const QDir root(QFileInfo(folder).absoluteFilePath());
    QStringList found;
    QDirIterator entries(root.path(), QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (!suffixes.contains(entries.fileInfo().suffix().toLower()))
            continue;
        const QString relative = root.relativeFilePath(path);
        if (skipped.isEmpty() || !relative.startsWith(skipped + QLatin1Char('/')))
            found << relative;
    }
    found.sort();
    return found;
}

// `relativePath` lies in DIR's tree, or beside `input` without DIR.
QString drawingName(const QString &input, const QString &relativePath, const BatchTarget &target)
{
    const QFileInfo info(relativePath);
    const QString name = target.name.expand(info.completeBaseName(), target.effect, target.suffix);
    const QString folder = target.folder.isEmpty() ? QFileInfo(input).path()
                                                   : target.folder + QLatin1Char('/') + info.path();
    return QDir::cleanPath(folder + QLatin1Char('/') + name);
}

} // namespace

QString fileIdentity(const QString &path)
{
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    if (!canonical.isEmpty())
        return canonical;
    const QString folder = QFileInfo(info.absolutePath()).canonicalFilePath();
    if (!folder.isEmpty())
        return folder + QLatin1Char('/') + info.fileName();
    return QDir::cleanPath(info.absoluteFilePath());
}

std::vector<FileJob> batchJobs(const QStringList &inputs, const BatchTarget &target, bool recursive,
                               QStringList *notes)
{
    std::vector<FileJob> jobs;
    for (const QString &input : inputs) {
        if (isStandardStream(input))
            refuse(QStringLiteral("standard input ('-') takes one OUTPUT, not -o or --name"));
        // A folder without -r fails when it is read, like any unreadable
        // file, and the others are still drawn.
        if (!recursive || !QFileInfo(input).isDir()) {
            const QString name = QFileInfo(input).fileName();
            jobs.push_back(FileJob {input, drawingName(input, name, target), target.format, name});
            continue;
        }
        const QStringList pictures = picturesIn(input, target.folder);
        if (pictures.isEmpty())
            *notes << QStringLiteral("no pictures in '%1'").arg(input);
        for (const QString &picture : pictures) {
            const QString path = QDir::cleanPath(input + QLatin1Char('/') + picture);
            jobs.push_back(
                    FileJob {path, drawingName(path, picture, target), target.format, picture});
        }
    }
    return jobs;
}

void checkOutputFolders(const std::vector<FileJob> &jobs, bool batch)
{
    QSet<QString> seen;
    for (const FileJob &job : jobs) {
        if (isStandardStream(job.output))
            continue;
        const QString folder = QFileInfo(job.output).path();
        if (seen.contains(folder))
            continue;
        seen.insert(folder);
        if (QFileInfo(job.output).isDir())
            refuse(QStringLiteral("cannot write '%1': it is a folder").arg(job.output));
        QString existing = folder;
        while (!QFileInfo::exists(existing) && QFileInfo(existing).path() != existing)
            existing = QFileInfo(existing).path();
        if (!QFileInfo(existing).isDir())
            refuse(QStringLiteral("cannot write '%1': '%2' is not a folder")
                           .arg(job.output, existing));
        if (existing != folder && !batch)
            refuse(QStringLiteral("cannot write '%1': the folder '%2' does not exist")
                           .arg(job.output, folder));
        if (!QFileInfo(existing).isWritable())
            refuse(QStringLiteral("cannot write '%1': the folder '%2' is not writable")
                           .arg(job.output, existing));
    }
}

void checkOutputs(const std::vector<FileJob> &jobs, const QString &reportPath)
{
    QSet<QString> inputs;
    for (const FileJob &job : jobs) {
        if (!isStandardStream(job.input))
            inputs.insert(fileIdentity(job.input));
    }
    QHash<QString, QString> writers;
    for (const FileJob &job : jobs) {
        if (isStandardStream(job.output))
            continue;
        const QString output = fileIdentity(job.output);
        if (inputs.contains(output))
            refuse(QStringLiteral("'%1' is also an input; refusing to overwrite it")
                           .arg(job.output));
        const auto earlier = writers.constFind(output);
        if (earlier != writers.constEnd())
            refuse(QStringLiteral("'%1' and '%2' would both be written to '%3'")
                           .arg(earlier.value(), job.input, job.output));
        writers.insert(output, job.input);
    }
    if (reportPath.isEmpty() || isStandardStream(reportPath))
        return;
    const QString report = fileIdentity(reportPath);
    if (inputs.contains(report))
        refuse(QStringLiteral("'%1' is also an input; refusing to overwrite it").arg(reportPath));
    if (writers.contains(report))
        refuse(QStringLiteral("the report '%1' would overwrite the drawing of '%2'")
                       .arg(reportPath, writers.value(report)));
}
