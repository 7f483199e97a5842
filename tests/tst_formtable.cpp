// The window's form and the table of effects never drift apart: every
// setting of the table has its slider on its effect's page, which starts at
// the setting's default and moves within its range, and every effect with a
// contour layer has its checkable "Contour" box.

#include "contours.h"
#include "effect.h"
#include "mainwindow.h"

#include <QGroupBox>
#include <QSlider>
#include <QTest>
#include <QToolBox>

namespace {

struct SliderOf
{
    const char *effect;
    const char *setting;
    const char *slider;
};

// The form's object names are fixed; this is where they meet the table.
const SliderOf Sliders[] = {
        {"pen", "black", "PencilLevelsSlider"},
        {"pen", "white", "pencilLevelSlider2"},
        {"pencil", "density", "horizontalSliderDens"},
        {"pencil", "black", "horizontalSliderMinCol"},
        {"pencil", "white", "horizontalSliderMaxCol"},
        {"pencil", "contour-black", "horizontalSliderBlackLevelContours"},
        {"pencil", "contour-white", "horizontalSliderWhiteLevelContours"},
        {"poster", "colors", "horizontalSliderPosterColors"},
        {"poster", "contour-black", "horizontalSliderPosterContourBlack"},
        {"poster", "contour-white", "horizontalSliderPosterContourWhite"},
        {"color", "threshold", "ColorThreshSlider"},
        {"color", "brush", "ClustersSizeSlider"},
};

const std::pair<const char *, const char *> ContourBoxes[] = {
        {"pencil", "groupBoxContoursPencil"},
        {"poster", "groupBoxPosterContour"},
};

const char *sliderOf(const Effect &effect, const EffectSetting &setting)
{
    for (const SliderOf &entry : Sliders) {
        if (!qstrcmp(entry.effect, effect.name) && !qstrcmp(entry.setting, setting.name))
            return entry.slider;
    }
    return nullptr;
}

const char *contourBoxOf(const Effect &effect)
{
    for (const auto &[name, box] : ContourBoxes) {
        if (!qstrcmp(name, effect.name))
            return box;
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
    QVERIFY2(name, "no slider of the form is named for this setting in tst_formtable");
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

QTEST_MAIN(TestFormTable)
#include "tst_formtable.moc"
