// Every input of the catalogue through the window: File > Open, then Create
// on every page, the deferred redraws and Save As. A picture that cannot be
// read changes nothing and shows nothing; one that can is drawn by every
// effect.

#include "catalogue.h"
#include "windowfixture.h"

#include <QApplication>
#include <QGraphicsPixmapItem>
#include <QPushButton>
#include <QTest>

#include <optional>

using namespace catalogue;
using namespace testsupport;

Q_DECLARE_METATYPE(catalogue::Input)

class TestBadInputsWindow : public WindowFixture
{
    Q_OBJECT

private slots:
    void openThenCreate_data();
    void openThenCreate();
    void openAfterAGoodPicture_data();
    void openAfterAGoodPicture();

private:
    void addRows();
    void openInput(const Input &input);
    void createOnEveryPage();
    void expectNoWindowButTheMain();

    QTemporaryDir m_madeDir;
};

void TestBadInputsWindow::addRows()
{
    QTest::addColumn<Input>("input");
    std::vector<Input> inputs = committedInputs();
    QVERIFY2(!inputs.empty(), "the catalogue tests/data/bad/catalogue.txt is missing");
    for (const Input &input : madeInputs(m_madeDir))
        inputs.push_back(input);
    for (const Input &input : inputs)
        QTest::newRow(qPrintable(input.name)) << input;
}

void TestBadInputsWindow::openInput(const Input &input)
{
    std::optional<AsUnprivileged> user;
    if (input.unprivileged)
        user.emplace();
    m_chooser->answer = input.path;
    m_window->ui->actionOpen->trigger();
}

// Create on every page: the page's button sends its clicked() signal (also
// while the tool box is still disabled, when a click would not), then the
// deferred redraws and Save As.
void TestBadInputsWindow::createOnEveryPage()
{
    QToolBox *toolBox = m_window->ui->toolBox;
    for (int page = 0; page < toolBox->count(); ++page) {
        toolBox->setCurrentIndex(page);
        QPushButton *create = toolBox->widget(page)->findChild<QPushButton *>();
        QVERIFY(create);
        QVERIFY(QMetaObject::invokeMethod(create, "clicked"));
        QVERIFY(!m_window->ui->progressBar->isVisible());
        const QImage result = shown();
        if (!result.isNull())
            QCOMPARE(result.size(), m_window->sourceImage.size());
        m_window->updatePencilLevels();
        m_window->updateHatchingLevels();
        m_window->updatePosterContours();
        m_chooser->answer = m_dir.filePath(QStringLiteral("saved-%1.png").arg(page));
        m_window->ui->actionSave_As->trigger();
        if (m_window->sketchItem && m_window->sourceImage.height() <= 1000000)
            QCOMPARE(QImage(m_chooser->answer).size(), m_window->sourceImage.size());
    }
    expectNoWindowButTheMain();
}

void TestBadInputsWindow::expectNoWindowButTheMain()
{
    for (QWidget *widget : QApplication::topLevelWidgets())
        QVERIFY2(!widget->isVisible() || widget == m_window.get(),
                 qPrintable(QStringLiteral("a %1 is shown")
                                    .arg(QLatin1String(widget->metaObject()->className()))));
}

void TestBadInputsWindow::openThenCreate_data()
{
    addRows();
}

// A fresh window: a picture that is not read leaves it as it started.
void TestBadInputsWindow::openThenCreate()
{
    QFETCH(Input, input);
    openInput(input);
    const bool read = !m_window->sourceImage.isNull();
    if (input.expectation == Expectation::Draws)
        QVERIFY(read);
    if (input.expectation == Expectation::Refused || input.expectation == Expectation::TooLarge)
        QVERIFY(!read);
    QCOMPARE(m_window->ui->toolBox->isEnabled(), read);
    QCOMPARE(m_window->originalItem != nullptr, read);
    QCOMPARE(m_window->ui->statusBar->currentMessage(), read ? QString("Done") : QString());
    if (read)
        QCOMPARE(m_window->edges.size(),
                 qsizetype(m_window->sourceImage.width())
                         * qsizetype(m_window->sourceImage.height()));
    expectNoWindowButTheMain();
    createOnEveryPage();
}

void TestBadInputsWindow::openAfterAGoodPicture_data()
{
    addRows();
}

// After a good picture, one that is not read runs the open's steps again on
// the good one.
void TestBadInputsWindow::openAfterAGoodPicture()
{
    QFETCH(Input, input);
    const QImage good = blockyPicture(48, 36, 7);
    open(good, QStringLiteral("good.png"));
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    QVERIFY(m_window->sketchItem);
    openInput(input);
    QVERIFY(!m_window->sourceImage.isNull());
    QVERIFY(!m_window->sketchItem);
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));
    if (input.expectation == Expectation::Refused || input.expectation == Expectation::TooLarge)
        QCOMPARE(m_window->sourceImage.size(), good.size());
    QCOMPARE(m_window->edges.size(),
             qsizetype(m_window->sourceImage.width()) * qsizetype(m_window->sourceImage.height()));
    createOnEveryPage();
}

QTEST_MAIN(TestBadInputsWindow)
#include "tst_badinputs_window.moc"
