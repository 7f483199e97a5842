#include "kestrova_version.h"
#include "mainwindow.h"

#include <QApplication>
#include <QImageReader>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName("Kestrova 2.0");
    QCoreApplication::setOrganizationName("Velmont software");
    QCoreApplication::setApplicationVersion(KESTROVA_VERSION);
    // Lets the desktop match the window with its menu entry and icon.
    QGuiApplication::setDesktopFileName(KESTROVA_APP_ID);
    // Photographs of up to 64 megapixels open; larger pictures are refused
    // before they are decoded.
    QImageReader::setAllocationLimit(256);
    MainWindow window;
    window.show();
    return QApplication::exec();
}
