#include "presetfile.h"

#include "textlines.h"

#include <QRegularExpression>
#include <QStringList>

#include <vector>

namespace {

const QString EffectKey = QStringLiteral("effect");
const QString ContoursKey = QStringLiteral("contours");
const QString AutoLevelsKey = QStringLiteral("auto-levels");

struct Entry
{
    int line = 0;
    QString name;
    QString value;
};

bool fail(PresetProblem *problem, int line, const QString &text)
{
    problem->line = line;
    problem->text = text;
    return false;
}

QString effectNames()
{
    QStringList names;
    for (const Effect &effect : effects())
        names << QLatin1String(effect.name);
    return names.join(QStringLiteral(", "));
}

// The lines' "name = value" entries, without comments and blank lines.
bool readEntries(const QByteArray &bytes, std::vector<Entry> *entries, PresetProblem *problem)
{
    static const QRegularExpression names(QStringLiteral("^[a-z][a-z0-9-]*$"));
    const TextLines text = textLines(bytes);
    for (int i = 0; i < text.lines.size(); ++i) {
        const int number = i + 1;
        QString line = text.lines.at(i);
        const qsizetype comment = line.indexOf(QLatin1Char('#'));
        if (comment >= 0)
            line.truncate(comment);
        line = line.trimmed();
        if (line.isEmpty())
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            return fail(problem, number,
                        QStringLiteral("expected 'setting = value', not '%1'").arg(line));
        Entry entry {number, line.left(equals).trimmed(), line.mid(equals + 1).trimmed()};
        if (!names.match(entry.name).hasMatch())
            return fail(problem, number,
                        QStringLiteral("expected 'setting = value': '%1' is not a setting's name")
                                .arg(entry.name));
        if (entry.value.isEmpty())
            return fail(problem, number, QStringLiteral("no value for '%1'").arg(entry.name));
        for (const Entry &earlier : *entries) {
            if (earlier.name == entry.name)
                return fail(problem, number,
                            QStringLiteral("'%1' is given twice (first on line %2)")
                                    .arg(entry.name)
                                    .arg(earlier.line));
        }
        entries->push_back(entry);
    }
    if (text.badLine > 0)
        return fail(problem, text.badLine, text.problem);
    return true;
}

bool onOff(const Entry &entry, bool *on, PresetProblem *problem)
{
    if (entry.value == QLatin1String("on") || entry.value == QLatin1String("off")) {
        *on = entry.value == QLatin1String("on");
        return true;
    }
    return fail(problem, entry.line,
                QStringLiteral("'%1' must be on or off, not '%2'").arg(entry.name, entry.value));
}

bool number(const Entry &entry, const EffectSetting &setting, int *value, PresetProblem *problem)
{
    static const QRegularExpression digits(QStringLiteral("^-?[0-9]{1,9}$"));
    if (digits.match(entry.value).hasMatch()) {
        *value = entry.value.toInt();
        if (*value >= setting.minimum && *value <= setting.maximum)
            return true;
    }
    return fail(problem, entry.line,
                QStringLiteral("'%1' must be a whole number from %2 to %3, not '%4'")
                        .arg(entry.name)
                        .arg(setting.minimum)
                        .arg(setting.maximum)
                        .arg(entry.value));
}

bool applyEntry(const Entry &entry, Preset *preset, PresetProblem *problem)
{
    const Effect &effect = *preset->effect;
    if (const EffectSetting *setting = effect.setting(entry.name)) {
        int value = 0;
        if (!number(entry, *setting, &value, problem))
            return false;
        preset->values.numbers.insert(entry.name, value);
    } else if (entry.name == ContoursKey && effect.contourLayer) {
        if (!onOff(entry, &preset->values.contours, problem))
            return false;
    } else if (entry.name == AutoLevelsKey && effect.toneLevels) {
        if (!onOff(entry, &preset->values.autoLevels, problem))
            return false;
    } else {
        return fail(problem, entry.line,
                    QStringLiteral("the %1 effect has no setting '%2'")
                            .arg(QLatin1String(effect.name), entry.name));
    }
    preset->given.insert(entry.name);
    return true;
}

} // namespace

bool parsePreset(const QByteArray &bytes, Preset *preset, PresetProblem *problem)
{
    *preset = Preset();
    if (bytes.size() > MaxPresetFileBytes)
        return fail(problem, 0,
                    QStringLiteral("larger than %1 bytes: not a settings file")
                            .arg(MaxPresetFileBytes));
    std::vector<Entry> entries;
    if (!readEntries(bytes, &entries, problem))
        return false;
    for (const Entry &entry : entries) {
        if (entry.name != EffectKey)
            continue;
        preset->effect = findEffect(entry.value);
        if (!preset->effect)
            return fail(problem, entry.line,
                        QStringLiteral("unknown effect '%1' (choose %2)")
                                .arg(entry.value, effectNames()));
    }
    if (!preset->effect)
        return fail(problem, 0,
                    QStringLiteral("no 'effect = NAME' line (NAME one of %1)").arg(effectNames()));
    preset->values = preset->effect->defaults();
    for (const Entry &entry : entries) {
        if (entry.name != EffectKey && !applyEntry(entry, preset, problem))
            return false;
    }
    return true;
}

QByteArray presetText(const Effect &effect, const EffectValues &values)
{
    QString text = QStringLiteral("# kestrova-cli settings: kestrova-cli %1 --preset FILE ...\n")
                           .arg(QLatin1String(effect.name));
    text += QStringLiteral("effect = %1\n").arg(QLatin1String(effect.name));
    for (const EffectSetting &setting : effect.settings)
        text += QStringLiteral("%1 = %2\n")
                        .arg(QLatin1String(setting.name))
                        .arg(values.value(setting.name));
    const auto onOffText
            = [](bool on) { return on ? QStringLiteral("on") : QStringLiteral("off"); };
    if (effect.contourLayer)
        text += QStringLiteral("%1 = %2\n").arg(ContoursKey, onOffText(values.contours));
    if (effect.toneLevels)
        text += QStringLiteral("%1 = %2\n").arg(AutoLevelsKey, onOffText(values.autoLevels));
    return text.toUtf8();
}
