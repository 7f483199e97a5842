#pragma once

#include <QString>

// The name every drawing of a batch takes (--name), made of {stem} (the
// input's name without its suffix), {effect} and {ext} (the suffix of the
// drawing's format) and plain text.
struct NamePattern
{
    QString text = QStringLiteral("{stem}.{ext}");

    // Refuses a pattern that names an unknown field, holds a folder
    // separator, or gives an empty name or a hidden file.
    void check() const;
    bool usesExt() const;
    // The drawing's file name for one input.
    QString expand(const QString &stem, const QString &effect, const QString &ext) const;
};
