#include "shard.h"

#include <QRegularExpression>

Shard parseShard(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^([0-9]{1,9})/([0-9]{1,9})$"));
    const QRegularExpressionMatch match = form.match(text);
    Shard shard;
    if (match.hasMatch()) {
        shard.index = match.captured(1).toInt();
        shard.count = match.captured(2).toInt();
    }
    if (!match.hasMatch() || shard.count < 1 || shard.index < 1 || shard.index > shard.count)
        refuse(QStringLiteral("--shard must be I/N with 1 <= I <= N (the I-th of N parts), "
                              "not '%1'")
                       .arg(text));
    return shard;
}

// 64-bit FNV-1a over the path's UTF-8 bytes: fixed by its definition, unlike
// qHash, which is seeded per process.
int shardOf(const QString &relativePath, int count)
{
    quint64 hash = 14695981039346656037ULL;
    for (const char byte : relativePath.toUtf8()) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 1099511628211ULL;
    }
    return static_cast<int>(hash % static_cast<quint64>(count)) + 1;
}

std::vector<FileJob> jobsOfShard(const std::vector<FileJob> &jobs, Shard shard)
{
    std::vector<FileJob> kept;
    for (const FileJob &job : jobs) {
        if (shardOf(job.relativePath, shard.count) == shard.index)
            kept.push_back(job);
    }
    return kept;
}
