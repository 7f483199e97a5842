#pragma once

#include <QString>

class QWidget;

// Where the window asks for file names. The application uses the standard
// file dialogs; tests install a chooser that answers without a dialog.
class FileChooser
{
public:
    virtual ~FileChooser() = default;
    virtual QString openFileName(QWidget *parent, const QString &caption, const QString &dir,
                                 const QString &filter)
            = 0;
    virtual QString saveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                 const QString &filter)
            = 0;
};

class DialogFileChooser : public FileChooser
{
public:
    QString openFileName(QWidget *parent, const QString &caption, const QString &dir,
                         const QString &filter) override;
    QString saveFileName(QWidget *parent, const QString &caption, const QString &dir,
                         const QString &filter) override;
};
