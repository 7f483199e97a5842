// Times the window's Create commands as a user sees them: the real window on
// the offscreen platform, the picture opened through File > Open, then the
// Create button of a page clicked, every level and progress step shown.
//   QT_QPA_PLATFORM=offscreen kestrova-window-bench PICTURE [PAGE]
// PAGE is the tool box page, counted from 0 in the order of the window's
// pages (3, the colour sketch, by default); its Create button is the page's
// one push button.

#include "filechooser.h"
#include "mainwindow.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QToolBox>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

class FixedChooser : public FileChooser
{
public:
    explicit FixedChooser(const QString &path)
        : m_path(path)
    {
    }
    QString openFileName(QWidget *, const QString &, const QString &, const QString &) override
    {
        return m_path;
    }
    QString saveFileName(QWidget *, const QString &, const QString &, const QString &) override
    {
        return {};
    }

private:
    QString m_path;
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (argc < 2) {
        fprintf(stderr, "usage: kestrova-window-bench PICTURE [PAGE]\n");
        return 2;
    }
    QCoreApplication::setApplicationName(QStringLiteral("Kestrova 2.0 bench"));
    QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    const int page = argc > 2 ? atoi(argv[2]) : 3;

    MainWindow window;
    window.setFileChooser(std::make_unique<FixedChooser>(QString::fromLocal8Bit(argv[1])));
    window.show();
    QElapsedTimer clock;
    clock.start();
    window.findChild<QAction *>(QStringLiteral("actionOpen"))->trigger();
    printf("open, edge map included: %.0f ms\n", clock.nsecsElapsed() / 1e6);
    QToolBox *toolBox = window.findChild<QToolBox *>(QStringLiteral("toolBox"));
    if (page < 0 || page >= toolBox->count())
        return 2;
    toolBox->setCurrentIndex(page);
    QPushButton *create = toolBox->widget(page)->findChild<QPushButton *>();
    QCoreApplication::processEvents();
    clock.restart();
    create->click();
    printf("Create on page %d: %.0f ms\n", page, clock.nsecsElapsed() / 1e6);
    return 0;
}
