#include "catalogue.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace catalogue {

namespace {

constexpr uid_t Nobody = 65534;

Expectation expectationOf(const QByteArray &word)
{
    if (word == "draws")
        return Expectation::Draws;
    if (word == "refused")
        return Expectation::Refused;
    if (word == "too-large")
        return Expectation::TooLarge;
    return Expectation::Either;
}

} // namespace

std::vector<Input> committedInputs()
{
    const QDir folder(QStringLiteral(KESTROVA_BAD_DIR));
    QFile list(folder.filePath(QStringLiteral("catalogue.txt")));
    std::vector<Input> inputs;
    if (!list.open(QIODevice::ReadOnly))
        return inputs;
    for (const QByteArray &line : list.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() != 3)
            continue;
        const QString name = QString::fromUtf8(fields[0]);
        inputs.push_back({name, folder.filePath(name), expectationOf(fields[1]),
                          QString::fromUtf8(fields[2])});
    }
    return inputs;
}

std::vector<Input> madeInputs(const QTemporaryDir &dir)
{
    // Others may pass through, as the unprivileged user must.
    QFile::setPermissions(dir.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                  | QFileDevice::ReadOther | QFileDevice::ExeOther);
    const QString folder = dir.filePath(QStringLiteral("folder.png"));
    QDir().mkpath(folder);
    const QString unreadable = dir.filePath(QStringLiteral("unreadable.png"));
    QFile::remove(unreadable);
    QFile::copy(QDir(QStringLiteral(KESTROVA_BAD_DIR)).filePath(QStringLiteral("rgba.png")),
                unreadable);
    QFile::setPermissions(unreadable, QFileDevice::Permissions());
    return {
            {QStringLiteral("folder.png"), folder, Expectation::Refused,
             QStringLiteral("a folder named like a picture")},
            {QStringLiteral("unreadable.png"), unreadable, Expectation::Refused,
             QStringLiteral("a picture nobody may read"), true},
    };
}

AsUnprivileged::AsUnprivileged()
{
    if (geteuid() == 0)
        m_switched = setegid(Nobody) == 0 && seteuid(Nobody) == 0;
}

AsUnprivileged::~AsUnprivileged()
{
    if (m_switched && (seteuid(0) != 0 || setegid(0) != 0))
        _exit(99);
}

std::function<void()> unprivilegedChild()
{
    return [] {
        if (geteuid() == 0 && (setgid(Nobody) != 0 || setuid(Nobody) != 0))
            _exit(99);
    };
}

QString expectationName(Expectation expectation)
{
    switch (expectation) {
    case Expectation::Draws:
        return QStringLiteral("draws");
    case Expectation::Refused:
        return QStringLiteral("refused");
    case Expectation::TooLarge:
        return QStringLiteral("too-large");
    case Expectation::Either:
        break;
    }
    return QStringLiteral("either");
}

} // namespace catalogue
