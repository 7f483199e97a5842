// Settings files: what they say, their round trip to the same bytes, and
// every kind of malformed file.

#include "effect.h"
#include "presetfile.h"

#include <QTest>

namespace {

Preset parsed(const QByteArray &text)
{
    Preset preset;
    PresetProblem problem;
    if (!parsePreset(text, &preset, &problem))
        qWarning("line %d: %s", problem.line, qPrintable(problem.text));
    return preset;
}

} // namespace

class TestPresetFile : public QObject
{
    Q_OBJECT

private slots:
    void defaultsOfEveryEffect();
    void roundTrip_data();
    void roundTrip();
    void readsComments();
    void leftOutKeepsDefault();
    void malformed_data();
    void malformed();
};

// The file of an effect's defaults, as the table gives them.
void TestPresetFile::defaultsOfEveryEffect()
{
    const Effect *pencil = findEffect(QStringLiteral("pencil"));
    QVERIFY(pencil);
    QCOMPARE(presetText(*pencil, pencil->defaults()),
             QByteArray("# kestrova-cli settings: kestrova-cli pencil --preset FILE ...\n"
                        "effect = pencil\n"
                        "density = 6\n"
                        "black = 60\n"
                        "white = 180\n"
                        "contour-black = 200\n"
                        "contour-white = 255\n"
                        "contours = on\n"
                        "auto-levels = off\n"));
    const Effect *colour = findEffect(QStringLiteral("color"));
    QVERIFY(colour);
    QCOMPARE(presetText(*colour, colour->defaults()),
             QByteArray("# kestrova-cli settings: kestrova-cli color --preset FILE ...\n"
                        "effect = color\n"
                        "threshold = 20\n"
                        "brush = 70\n"));
}

void TestPresetFile::roundTrip_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<bool>("changed");
    for (const Effect &effect : effects()) {
        const QString name = QLatin1String(effect.name);
        QTest::newRow(qPrintable(name + QStringLiteral(" defaults"))) << name << false;
        QTest::newRow(qPrintable(name + QStringLiteral(" changed"))) << name << true;
    }
}

// Written, read and written again: the same values and the same bytes.
void TestPresetFile::roundTrip()
{
    QFETCH(QString, effect);
    QFETCH(bool, changed);
    const Effect *chosen = findEffect(effect);
    QVERIFY(chosen);
    EffectValues values = chosen->defaults();
    if (changed) {
        int step = 0;
        for (const EffectSetting &setting : chosen->settings)
            values.numbers[QLatin1String(setting.name)]
                    = ++step % 2 ? setting.minimum : setting.maximum;
        values.contours = !chosen->contourLayer;
        values.autoLevels = chosen->toneLevels;
    }
    const QByteArray text = presetText(*chosen, values);
    Preset preset;
    PresetProblem problem;
    QVERIFY2(parsePreset(text, &preset, &problem), qPrintable(problem.text));
    QCOMPARE(preset.effect, chosen);
    QCOMPARE(preset.values.numbers, values.numbers);
    QCOMPARE(preset.values.contours, values.contours);
    QCOMPARE(preset.values.autoLevels, values.autoLevels);
    QCOMPARE(presetText(*preset.effect, preset.values), text);
    QCOMPARE(preset.given.size(),
             int(chosen->settings.size()) + (chosen->contourLayer ? 1 : 0)
                     + (chosen->toneLevels ? 1 : 0));
}

void TestPresetFile::readsComments()
{
    const Preset preset = parsed("\xEF\xBB\xBF# dark woods\r\n"
                                 "\r\n"
                                 "   effect=pencil   # the effect\r\n"
                                 "density =4\r\n"
                                 "\tblack\t=\t30#no space before the comment\r\n"
                                 "contours = off\r\n"
                                 "auto-levels = on");
    QVERIFY(preset.effect);
    QCOMPARE(QLatin1String(preset.effect->name), QLatin1String("pencil"));
    QCOMPARE(preset.values.value("density"), 4);
    QCOMPARE(preset.values.value("black"), 30);
    QCOMPARE(preset.values.value("white"), 180);
    QCOMPARE(preset.values.contours, false);
    QCOMPARE(preset.values.autoLevels, true);
    QCOMPARE(preset.given,
             QSet<QString>({QStringLiteral("density"), QStringLiteral("black"),
                            QStringLiteral("contours"), QStringLiteral("auto-levels")}));
}

void TestPresetFile::leftOutKeepsDefault()
{
    const Preset preset = parsed("effect = poster\n");
    QVERIFY(preset.effect);
    QCOMPARE(preset.values.numbers, preset.effect->defaults().numbers);
    QCOMPARE(preset.values.contours, true);
    QVERIFY(preset.given.isEmpty());
}

void TestPresetFile::malformed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("problem");
    const QString effects = QStringLiteral("pen, pencil, poster, color");
    QTest::newRow("empty") << QByteArray() << 0
                           << "no 'effect = NAME' line (NAME one of " + effects + ")";
    QTest::newRow("comments only") << QByteArray("# nothing\n\n") << 0
                                   << "no 'effect = NAME' line (NAME one of " + effects + ")";
    QTest::newRow("no equals") << QByteArray("effect = pen\nblack 30\n") << 2
                               << "expected 'setting = value', not 'black 30'";
    QTest::newRow("no name") << QByteArray("effect = pen\n= 30\n") << 2
                             << "expected 'setting = value': '' is not a setting's name";
    QTest::newRow("odd name") << QByteArray("effect = pen\n--black = 30\n") << 2
                              << "expected 'setting = value': '--black' is not a setting's name";
    QTest::newRow("no value") << QByteArray("effect = pen\nblack =   # later\n") << 2
                              << "no value for 'black'";
    QTest::newRow("twice") << QByteArray("effect = pen\nblack = 3\n\nblack = 4\n") << 4
                           << "'black' is given twice (first on line 2)";
    QTest::newRow("effect twice") << QByteArray("effect = pen\neffect = pen\n") << 2
                                  << "'effect' is given twice (first on line 1)";
    QTest::newRow("unknown effect") << QByteArray("black = 3\neffect = charcoal\n") << 2
                                    << "unknown effect 'charcoal' (choose " + effects + ")";
    QTest::newRow("not the effect's") << QByteArray("effect = pen\ndensity = 3\n") << 2
                                      << "the pen effect has no setting 'density'";
    QTest::newRow("unknown setting") << QByteArray("effect = poster\ncolours = 3\n") << 2
                                     << "the poster effect has no setting 'colours'";
    QTest::newRow("no contour layer") << QByteArray("effect = pen\ncontours = off\n") << 2
                                      << "the pen effect has no setting 'contours'";
    QTest::newRow("no tone levels") << QByteArray("effect = poster\nauto-levels = on\n") << 2
                                    << "the poster effect has no setting 'auto-levels'";
    QTest::newRow("above the range") << QByteArray("effect = pencil\ndensity = 11\n") << 2
                                     << "'density' must be a whole number from 1 to 10, not '11'";
    QTest::newRow("below the range") << QByteArray("effect = pen\nblack = -1\n") << 2
                                     << "'black' must be a whole number from 0 to 255, not '-1'";
    QTest::newRow("not a number") << QByteArray("effect = pen\nblack = dark\n") << 2
                                  << "'black' must be a whole number from 0 to 255, not 'dark'";
    QTest::newRow("fraction") << QByteArray("effect = pen\nblack = 1.5\n") << 2
                              << "'black' must be a whole number from 0 to 255, not '1.5'";
    QTest::newRow("huge") << QByteArray("effect = pen\nblack = 99999999999\n") << 2
                          << "'black' must be a whole number from 0 to 255, not '99999999999'";
    QTest::newRow("not on or off") << QByteArray("effect = poster\ncontours = yes\n") << 2
                                   << "'contours' must be on or off, not 'yes'";
    QTest::newRow("zero byte") << QByteArray("effect = pen\nblack = 3\0\n", 24) << 2
                               << "a zero byte: not a text file";
    QTest::newRow("not UTF-8") << QByteArray("effect = pen\n# caf\xe9\n") << 2 << "not UTF-8 text";
    QByteArray large = "effect = pen\n";
    large += QByteArray(MaxPresetFileBytes, '#');
    QTest::newRow("too large")
            << large << 0
            << QStringLiteral("larger than %1 bytes: not a settings file").arg(MaxPresetFileBytes);
}

void TestPresetFile::malformed()
{
    QFETCH(QByteArray, text);
    QFETCH(int, line);
    QFETCH(QString, problem);
    Preset preset;
    PresetProblem found;
    QVERIFY(!parsePreset(text, &preset, &found));
    QCOMPARE(found.text, problem);
    QCOMPARE(found.line, line);
}

QTEST_GUILESS_MAIN(TestPresetFile)
#include "tst_presetfile.moc"
