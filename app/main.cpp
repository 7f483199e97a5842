#include "kestrova_version.h"
#include "mainwindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName("Kestrova 2.0");
    QCoreApplication::setOrganizationName("Velmont software");
    QCoreApplication::setApplicationVersion(KESTROVA_VERSION);
    // Lets the desktop match the window with its menu entry and icon.
    QGuiApplication::setDesktopFileName(KESTROVA_APP_ID);
    MainWindow window;
    window.show();
    return QApplication::exec();
}
