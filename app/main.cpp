#include "mainwindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName("Kestrova 2.0");
    QCoreApplication::setOrganizationName("Velmont software");
    MainWindow window;
    window.show();
    return QApplication::exec();
}
