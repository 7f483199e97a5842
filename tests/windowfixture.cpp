#include "windowfixture.h"

#include "edgemap.h"

#include <QGraphicsPixmapItem>
#include <QProcess>
#include <QSettings>
#include <QTest>

namespace {

QStringList *currentWarnings = nullptr;
QtMessageHandler previousHandler = nullptr;

void recordWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && currentWarnings)
        *currentWarnings << message;
    if (previousHandler)
        previousHandler(type, context, message);
}

} // namespace

void WindowFixture::initTestCase()
{
    QCoreApplication::setApplicationName("Kestrova 2.0");
    QCoreApplication::setOrganizationName("Velmont software");
    QVERIFY(m_dir.isValid());
    // Settings go to this run's own folder, never the user's.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_dir.filePath("settings"));
    previousHandler = qInstallMessageHandler(recordWarnings);
}

void WindowFixture::init()
{
    QSettings().clear();
    m_warnings.clear();
    currentWarnings = &m_warnings;
    m_window = std::make_unique<MainWindow>();
    auto chooser = std::make_unique<FakeChooser>();
    m_chooser = chooser.get();
    m_window->setFileChooser(std::move(chooser));
    m_window->show();
}

void WindowFixture::cleanup()
{
    m_window.reset();
}

QString WindowFixture::write(const QImage &picture, const QString &name)
{
    const QString path = m_dir.filePath(name);
    if (!picture.isNull())
        picture.save(path);
    return path;
}

void WindowFixture::open(const QImage &picture, const QString &name)
{
    m_chooser->answer = write(picture, name);
    m_window->ui->actionOpen->trigger();
}

QImage WindowFixture::shown() const
{
    return m_window->sketchItem ? m_window->sketchItem->pixmap().toImage() : QImage();
}

std::vector<unsigned char> edgeMapOf(const QImage &image)
{
    std::vector<unsigned char> edges(size_t(image.width()) * image.height());
    labsobellight2(image, edges.data());
    return edges;
}

std::vector<int> progressValues(const QList<QList<QVariant>> &spy)
{
    std::vector<int> values;
    for (const QList<QVariant> &signal : spy)
        values.push_back(signal.first().toInt());
    return values;
}

QImage runCli(const QStringList &arguments, const QString &output)
{
    QProcess process;
    process.start(QStringLiteral(KESTROVA_CLI_PATH), arguments + QStringList {output});
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        qWarning() << "kestrova-cli failed:" << process.readAllStandardError();
        return QImage();
    }
    return QImage(output);
}
