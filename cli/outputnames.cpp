#include "outputnames.h"

#include "filejob.h"

#include <QRegularExpression>

namespace {

const QString Stem = QStringLiteral("{stem}");
const QString EffectField = QStringLiteral("{effect}");
const QString Ext = QStringLiteral("{ext}");

} // namespace

void NamePattern::check() const
{
    static const QRegularExpression field(QStringLiteral("\\{[^}]*\\}?"));
    for (auto match = field.globalMatch(text); match.hasNext();) {
        const QString name = match.next().captured();
        if (name != Stem && name != EffectField && name != Ext)
            refuse(QStringLiteral("--name: unknown field '%1' in '%2' (use {stem}, {effect} "
                                  "and {ext})")
                           .arg(name, text));
    }
    if (text.contains(QLatin1Char('/')))
        refuse(QStringLiteral("--name gives a file name, not a path: '%1' holds a '/'; "
                              "choose the folder with -o")
                       .arg(text));
    if (text.isEmpty() || text.startsWith(QLatin1Char('.')))
        refuse(QStringLiteral("--name '%1' would give hidden files or no name at all").arg(text));
}

bool NamePattern::usesExt() const
{
    return text.contains(Ext);
}

QString NamePattern::expand(const QString &stem, const QString &effect, const QString &ext) const
{
    QString name = text;
    name.replace(EffectField, effect).replace(Ext, ext);
    // Last: a photo's own name may hold a brace.
    return name.replace(Stem, stem);
}
