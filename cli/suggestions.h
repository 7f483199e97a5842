#pragma once

#include <QString>

class QCommandLineParser;
#include <QStringList>

// The number of single-letter insertions, deletions, substitutions and swaps
// of two neighbours that turn `a` into `b` (Damerau-Levenshtein, optimal
// string alignment).
int editDistance(const QString &a, const QString &b);

// The candidate closest to `word` by editDistance(), the first in the list
// on a tie; empty when none is close enough to be a slip of the fingers (at
// most a third of the word's letters, and at least one, off).
QString closestWord(const QString &word, const QStringList &candidates);

// The other spellings a name is accepted under: British ones ("colours" for
// "colors"), which our guide uses in its prose.
QStringList britishSpellings(const QString &name);
// The name `word` stands for when it is a British spelling, else `word`.
QString americanSpelling(const QString &word);

// The parser's error, an unknown option with the closest known one
// ("did you mean --black?").
QString parseErrorText(const QCommandLineParser &parser);
