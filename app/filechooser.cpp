#include "filechooser.h"

#include <QFileDialog>

QString DialogFileChooser::openFileName(QWidget *parent, const QString &caption, const QString &dir,
                                        const QString &filter)
{
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

QString DialogFileChooser::saveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                        const QString &filter)
{
    return QFileDialog::getSaveFileName(parent, caption, dir, filter);
}
