#include "suggestions.h"

#include <QCommandLineParser>
#include <QRegularExpression>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

// American spelling, British spelling.
const std::pair<const char *, const char *> Spellings[] = {
        {"color", "colour"},
        {"gray", "grey"},
        {"center", "centre"},
};

// Every long option the help names, the effects' settings included.
QStringList knownOptionNames(const QCommandLineParser &parser)
{
    static const QRegularExpression option(QStringLiteral("--([a-z][a-z0-9-]+)"));
    QStringList names;
    for (auto match = option.globalMatch(parser.helpText()); match.hasNext();) {
        const QString name = match.next().captured(1);
        if (!names.contains(name))
            names << name;
    }
    return names;
}

} // namespace

int editDistance(const QString &a, const QString &b)
{
    const int n = int(a.size());
    const int m = int(b.size());
    std::vector<std::vector<int>> d(size_t(n) + 1, std::vector<int>(size_t(m) + 1));
    for (int i = 0; i <= n; ++i)
        d[size_t(i)][0] = i;
    for (int j = 0; j <= m; ++j)
        d[0][size_t(j)] = j;
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= m; ++j) {
            const int cost = a.at(i - 1) == b.at(j - 1) ? 0 : 1;
            int best = std::min({d[size_t(i - 1)][size_t(j)] + 1, d[size_t(i)][size_t(j - 1)] + 1,
                                 d[size_t(i - 1)][size_t(j - 1)] + cost});
            if (i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1))
                best = std::min(best, d[size_t(i - 2)][size_t(j - 2)] + 1);
            d[size_t(i)][size_t(j)] = best;
        }
    }
    return d[size_t(n)][size_t(m)];
}

QString closestWord(const QString &word, const QStringList &candidates)
{
    const int allowed = std::max(1, int(word.size()) / 3);
    QString closest;
    int best = allowed + 1;
    for (const QString &candidate : candidates) {
        const int distance = editDistance(word.toLower(), candidate);
        if (distance < best) {
            best = distance;
            closest = candidate;
        }
    }
    return closest;
}

QStringList britishSpellings(const QString &name)
{
    QStringList spellings;
    for (const auto &[american, british] : Spellings) {
        if (name.contains(QLatin1String(american)))
            spellings << QString(name).replace(QLatin1String(american), QLatin1String(british));
    }
    return spellings;
}

QString americanSpelling(const QString &word)
{
    QString spelling = word;
    for (const auto &[american, british] : Spellings)
        spelling.replace(QLatin1String(british), QLatin1String(american));
    return spelling;
}

QString parseErrorText(const QCommandLineParser &parser)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.isEmpty())
        return parser.errorText();
    const QString &name = unknown.first();
    const QString dashes = name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--");
    const QString closest
            = name.size() > 2 ? closestWord(name, knownOptionNames(parser)) : QString();
    if (closest.isEmpty())
        return QStringLiteral("unknown option '%1%2'").arg(dashes, name);
    return QStringLiteral("unknown option '%1%2' (did you mean --%3?)").arg(dashes, name, closest);
}
