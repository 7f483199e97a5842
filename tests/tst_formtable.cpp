// The window's form and the table of effects never drift apart: every
// setting of the table has its slider on its effect's page, which starts at
// the setting's default and moves within its range, and every effect with a
// contour layer has its checkable "Contour" box. The window's own table of
// sliders (pagesliders.h) is what ties them, and the pages read their
// values through it.

#include "contours.h"
#include "effect.h"
#include "mainwindow.h"
#include "pagesliders.h"

#include <QGroupBox>
#include <QSlider>
#include <QTest>
#include <QToolBox>

namespace {

const char *sliderOf(const Effect &effect, const EffectSetting &setting)
{
    for (const PageSlider &entry : pageSliders()) {
        if (!qstrcmp(entry.effect, effect.name) && !qstrcmp(entry.setting, setting.name))
            return entry.slider;
    }
    return nullptr;
}

const char *contourBoxOf(const Effect &effect)
{
    for (const PageContourBox &entry : pageContourBoxes()) {
        if (!qstrcmp(entry.effect, effect.name))
            return entry.box;
    }
    return nullptr;
}

int pageOf(const Effect &effect)
{
    for (size_t i = 0; i < effects().size(); ++i) {
        if (&effects()[i] == &effect)
            return int(i);
    }
    return -1;
}

} // namespace

class TestFormTable : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void onePagePerEffect();
    void slidersFollowTheTable_data();
    void slidersFollowTheTable();
    void everySliderIsInTheTable();
    void contourBoxes();
    void everyEntryNamesTheTable();
    void pagesShowTheirValues();

private:
    QWidget *pageOf(const Effect &effect) const
    {
        return m_window->findChild<QToolBox *>(QStringLiteral("toolBox"))->widget(::pageOf(effect));
    }

    std::unique_ptr<MainWindow> m_window;
};

void TestFormTable::init()
{
    m_window = std::make_unique<MainWindow>();
}

void TestFormTable::cleanup()
{
    m_window.reset();
}

// The tool box has a page for every effect, in the table's order.
void TestFormTable::onePagePerEffect()
{
    QCOMPARE(m_window->findChild<QToolBox *>(QStringLiteral("toolBox"))->count(),
             int(effects().size()));
}

void TestFormTable::slidersFollowTheTable_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QString>("setting");
    for (const Effect &effect : effects()) {
        for (const EffectSetting &setting : effect.settings)
            QTest::addRow("%s %s", effect.name, setting.name)
                    << QString::fromLatin1(effect.name) << QString::fromLatin1(setting.name);
    }
}

void TestFormTable::slidersFollowTheTable()
{
    QFETCH(QString, effect);
    QFETCH(QString, setting);
    const Effect &known = *findEffect(effect);
    const EffectSetting &entry = *known.setting(setting);
    const char *name = sliderOf(known, entry);
    QVERIFY2(name, "no slider of the form is named for this setting in app/pagesliders.cpp");
    QSlider *slider = pageOf(known)->findChild<QSlider *>(QLatin1String(name));
    QVERIFY2(slider, qPrintable(QStringLiteral("%1 is not on the page of %2").arg(name, effect)));
    QCOMPARE(slider->minimum(), entry.minimum);
    QCOMPARE(slider->maximum(), entry.maximum);
    QCOMPARE(slider->value(), entry.defaultValue);
}

// No slider of a page is left out of the table.
void TestFormTable::everySliderIsInTheTable()
{
    for (const Effect &effect : effects()) {
        int named = 0;
        for (const EffectSetting &setting : effect.settings)
            named += sliderOf(effect, setting) ? 1 : 0;
        QCOMPARE(pageOf(effect)->findChildren<QSlider *>().size(), named);
    }
}

void TestFormTable::contourBoxes()
{
    const ContourSettings defaults;
    for (const Effect &effect : effects()) {
        const char *name = contourBoxOf(effect);
        QCOMPARE(name != nullptr, effect.contourLayer);
        const QList<QGroupBox *> boxes = pageOf(effect)->findChildren<QGroupBox *>();
        QCOMPARE(boxes.size(), effect.contourLayer ? 1 : 0);
        if (!name)
            continue;
        QCOMPARE(boxes.first()->objectName(), QLatin1String(name));
        QVERIFY(boxes.first()->isCheckable());
        QCOMPARE(boxes.first()->isChecked(), defaults.on);
    }
}

// No entry of the window's table names an effect or a setting that the
// table of effects does not have.
void TestFormTable::everyEntryNamesTheTable()
{
    for (const PageSlider &entry : pageSliders()) {
        const Effect *effect = findEffect(QLatin1String(entry.effect));
        QVERIFY2(effect, entry.effect);
        QVERIFY2(effect->setting(QLatin1String(entry.setting)), entry.setting);
    }
    for (const PageContourBox &entry : pageContourBoxes()) {
        const Effect *effect = findEffect(QLatin1String(entry.effect));
        QVERIFY2(effect && effect->contourLayer, entry.effect);
    }
}

// What the pages give the effects follows their sliders and boxes, setting
// by setting: at start the table's defaults, and after every control has
// moved, the values moved to.
void TestFormTable::pagesShowTheirValues()
{
    for (const Effect &effect : effects()) {
        const EffectValues start = pageValues(*m_window, effect);
        QCOMPARE(start.numbers, effect.defaults().numbers);
        QCOMPARE(start.contours, true);

        EffectValues moved = effect.defaults();
        for (const EffectSetting &setting : effect.settings) {
            const int value = setting.minimum + (setting.maximum - setting.minimum) / 3;
            moved.numbers[QLatin1String(setting.name)] = value;
            pageOf(effect)
                    ->findChild<QSlider *>(QLatin1String(sliderOf(effect, setting)))
                    ->setValue(value);
        }
        if (const char *box = contourBoxOf(effect)) {
            pageOf(effect)->findChild<QGroupBox *>(QLatin1String(box))->setChecked(false);
            moved.contours = false;
        }
        const EffectValues shown = pageValues(*m_window, effect);
        QCOMPARE(shown.numbers, moved.numbers);
        QCOMPARE(shown.contours, moved.contours);
    }
}

QTEST_MAIN(TestFormTable)
#include "tst_formtable.moc"
