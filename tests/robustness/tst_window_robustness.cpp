// The window under strain: everything the user can do while a pencil hatch
// or a colour sketch lets events through, saves that fail, and settings
// that point nowhere or cannot be written. Nothing crashes, nothing is
// shown, no file is harmed.

#include "catalogue.h"
#include "effect.h"
#include "windowfixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGraphicsPixmapItem>
#include <QImageReader>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <QToolBox>

#include <csignal>
#include <sys/resource.h>

using namespace testsupport;

class TestWindowRobustness : public WindowFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void interrupted_data();
    void interrupted();
    void saveIntoReadOnlyFolder();
    void saveOnAFullDisk();
    void foldersThatNoLongerExist();
    void settingsThatCannotBeWritten();
    void largePhotograph();

private:
    void perform(const QString &action, int page);
    int pageCount() const { return m_window->ui->toolBox->count(); }
    // A page's Create: the one push button on it.
    QPushButton *createOf(int page) const
    {
        const QList<QPushButton *> buttons
                = m_window->ui->toolBox->widget(page)->findChildren<QPushButton *>();
        return buttons.size() == 1 ? buttons.first() : nullptr;
    }
    // Makes a result on `page` and saves it over `path` while `strain` is
    // in force; the existing file must stay as it was.
    void expectSaveToFail(const QString &path, const std::function<void()> &strain);

    QTemporaryDir m_shared;
};

namespace {

QString badInput(const QString &name)
{
    return QDir(QStringLiteral(KESTROVA_BAD_DIR)).filePath(name);
}

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

void TestWindowRobustness::initTestCase()
{
    WindowFixture::initTestCase();
    QVERIFY(m_shared.isValid());
    // A write past the file size limit must fail, not end the process.
    std::signal(SIGXFSZ, SIG_IGN);
}

void TestWindowRobustness::perform(const QString &action, int page)
{
    QPushButton *create = createOf(page);
    if (action == QLatin1String("create")) {
        create->click();
    } else if (action == QLatin1String("page")) {
        m_window->ui->toolBox->setCurrentIndex((page + 1) % pageCount());
    } else if (action == QLatin1String("open")) {
        m_chooser->answer = write(blockyPicture(70, 110, 43), QStringLiteral("other.png"));
        m_window->ui->actionOpen->trigger();
    } else if (action == QLatin1String("open broken")) {
        m_chooser->answer = badInput(QStringLiteral("png-bad-crc-idat.png"));
        m_window->ui->actionOpen->trigger();
    } else if (action == QLatin1String("open bomb")) {
        m_chooser->answer = badInput(QStringLiteral("bomb-100000x100000.png"));
        m_window->ui->actionOpen->trigger();
    } else if (action == QLatin1String("save")) {
        m_chooser->answer = m_dir.filePath(QStringLiteral("during.png"));
        m_window->ui->actionSave_As->trigger();
    } else if (action == QLatin1String("sliders")) {
        m_window->ui->horizontalSliderMinCol->setValue(90);
        m_window->ui->horizontalSliderBlackLevelContours->setValue(120);
        m_window->ui->horizontalSliderPosterContourWhite->setValue(230);
        m_window->ui->PencilLevelsSlider->setValue(100);
        m_window->ui->pushButton->toggle();
        m_window->ui->pushButton_3->click();
    } else if (action == QLatin1String("close")) {
        m_window->close();
    }
}

void TestWindowRobustness::interrupted_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<QStringList>("actions");
    const QStringList each
            = {"create", "page", "open", "open broken", "open bomb", "save", "sliders", "close"};
    // Every page: the pencil's and the colour sketch's Create let events
    // through, so the actions come in the middle of them; on the others they
    // come between two drawings.
    MainWindow window;
    const int pages = window.findChild<QToolBox *>(QStringLiteral("toolBox"))->count();
    for (int page = 0; page < pages; ++page) {
        const QString effect = QLatin1String(effects()[size_t(page)].name);
        for (const QString &action : each)
            QTest::newRow(qPrintable(effect + QLatin1String(": ") + action))
                    << page << QStringList {action};
        QTest::newRow(qPrintable(effect + QLatin1String(": all, one inside the other")))
                << page << each;
    }
}

// Each action runs from the event loop while the command lets events
// through; "all" nests them, each inside the command the one before
// started. Afterwards the window still works.
void TestWindowRobustness::interrupted()
{
    QFETCH(int, page);
    QFETCH(QStringList, actions);
    open(blockyPicture(150, 100, 42), QStringLiteral("first.png"));
    m_window->ui->toolBox->setCurrentIndex(page);
    QPushButton *create = createOf(page);
    QVERIFY(create);
    create->click();
    QVERIFY(m_window->sketchItem);
    for (const QString &action : std::as_const(actions))
        QTimer::singleShot(0, this, [this, action, page] { perform(action, page); });
    create->click();
    // Actions that a drawing did not let through run now, and the deferred
    // redraws the sliders asked for.
    QCoreApplication::processEvents();
    if (actions.contains(QLatin1String("sliders")))
        QTest::qWait(260);

    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(m_window->edges.size(),
             qsizetype(m_window->sourceImage.width()) * qsizetype(m_window->sourceImage.height()));
    if (m_window->sketchItem)
        QCOMPARE(shown().size(), m_window->sourceImage.size());
    const QString saved = m_dir.filePath(QStringLiteral("during.png"));
    if (QFile::exists(saved))
        QVERIFY(!QImage(saved).isNull());
    m_window->show();
    m_window->ui->toolBox->setCurrentIndex(page);
    create->click();
    QVERIFY(m_window->hasSketch);
    QCOMPARE(shown().size(), m_window->sourceImage.size());
}

void TestWindowRobustness::expectSaveToFail(const QString &path,
                                            const std::function<void()> &strain)
{
    open(blockyPicture(60, 40, 44));
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    QVERIFY(m_window->sketchItem);
    const QByteArray earlier("an earlier drawing that must survive");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(earlier) == earlier.size());
    file.close();
    const QString folder = QFileInfo(path).path();
    const QStringList before = entries(folder);
    const QString message = m_window->ui->statusBar->currentMessage();
    m_chooser->answer = path;
    strain();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), earlier);
    QCOMPARE(entries(folder), before);
    // A failed save shows nothing.
    QCOMPARE(m_window->ui->statusBar->currentMessage(), message);
    QVERIFY(m_window->isVisible());
}

// As a user would be (root writes anywhere).
void TestWindowRobustness::saveIntoReadOnlyFolder()
{
    const QString folder = m_shared.filePath(QStringLiteral("read-only"));
    QVERIFY(QDir().mkpath(folder));
    QFile::setPermissions(m_shared.path(), QFileDevice::Permissions(0x7755));
    QFile::setPermissions(folder, QFileDevice::Permissions(0x7777));
    const QString path = QDir(folder).filePath(QStringLiteral("drawing.png"));
    expectSaveToFail(path, [&] {
        QFile::setPermissions(path, QFileDevice::Permissions(0x6666));
        QFile::setPermissions(folder, QFileDevice::Permissions(0x5555));
        catalogue::AsUnprivileged user;
        m_window->ui->actionSave_As->trigger();
    });
    QFile::setPermissions(folder, QFileDevice::Permissions(0x7777));
}

// No more room for the file: the write fails part of the way through.
void TestWindowRobustness::saveOnAFullDisk()
{
    const QString path = m_dir.filePath(QStringLiteral("drawing.png"));
    expectSaveToFail(path, [this] {
        struct rlimit previous;
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &previous), 0);
        struct rlimit limit = previous;
        limit.rlim_cur = 100;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
        m_window->ui->actionSave_As->trigger();
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &previous), 0);
    });
}

// Remembered folders that were removed since: the dialogs are offered them
// (a real dialog falls back to another folder), and nothing else changes.
void TestWindowRobustness::foldersThatNoLongerExist()
{
    const QString gone = m_dir.filePath(QStringLiteral("gone"));
    QSettings().setValue(QStringLiteral("CurrDir"), gone);
    QSettings().setValue(QStringLiteral("CurrSaveDir"), gone + QStringLiteral("/deeper"));
    open(blockyPicture(40, 30, 45));
    QCOMPARE(m_chooser->asked.back().dir, gone);
    QVERIFY(m_window->ui->toolBox->isEnabled());
    QCOMPARE(QSettings().value(QStringLiteral("CurrDir")).toString(),
             QFileInfo(m_dir.path()).canonicalFilePath());
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    m_chooser->answer = m_dir.filePath(QStringLiteral("saved.png"));
    m_window->ui->actionSave_As->trigger();
    QCOMPARE(m_chooser->asked.back().dir, gone + QStringLiteral("/deeper"));
    QVERIFY(!QImage(m_dir.filePath(QStringLiteral("saved.png"))).isNull());
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));
}

// The settings file's place is taken by a folder: nothing is remembered,
// and nothing else changes.
void TestWindowRobustness::settingsThatCannotBeWritten()
{
    const QString file = QSettings().fileName();
    QVERIFY(QFileInfo(file).isAbsolute());
    QFile::remove(file);
    QVERIFY(QDir().mkpath(file));
    open(blockyPicture(40, 30, 46));
    QVERIFY(m_window->ui->toolBox->isEnabled());
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    m_chooser->answer = m_dir.filePath(QStringLiteral("saved.png"));
    m_window->ui->actionSave_As->trigger();
    QVERIFY(!QImage(m_dir.filePath(QStringLiteral("saved.png"))).isNull());
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));
    open(blockyPicture(30, 20, 47), QStringLiteral("second.png"));
    QCOMPARE(m_window->sourceImage.size(), QSize(30, 20));
    QVERIFY(QDir().rmdir(file));
}

// A photograph of up to 256 megapixels opens and every effect draws it. Too
// slow and too large for every run: KESTROVA_LARGE_PICTURE names the file.
void TestWindowRobustness::largePhotograph()
{
    const QString path = qEnvironmentVariable("KESTROVA_LARGE_PICTURE");
    if (path.isEmpty())
        QSKIP("KESTROVA_LARGE_PICTURE names no picture");
    QElapsedTimer clock;
    clock.start();
    m_chooser->answer = path;
    m_window->ui->actionOpen->trigger();
    QVERIFY(!m_window->sourceImage.isNull());
    const QSize size = m_window->sourceImage.size();
    qInfo("opened %d x %d in %lld ms", size.width(), size.height(), clock.restart());
    for (int page = 0; page < pageCount(); ++page) {
        m_window->ui->toolBox->setCurrentIndex(page);
        createOf(page)->click();
        QCOMPARE(shown().width(), size.width());
        qInfo("%s in %lld ms", qPrintable(createOf(page)->objectName()), clock.restart());
    }
    m_chooser->answer = m_dir.filePath(QStringLiteral("large.png"));
    m_window->ui->actionSave_As->trigger();
    QCOMPARE(QImageReader(m_chooser->answer).size().width(), size.width());
    qInfo("saved in %lld ms", clock.restart());
}

QTEST_MAIN(TestWindowRobustness)
#include "tst_window_robustness.moc"
