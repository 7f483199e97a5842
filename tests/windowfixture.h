#pragma once

// What the window tests share: a window on the offscreen platform whose file
// dialogs are answered by the test, with settings kept in a folder of the
// test's own.

#include "filechooser.h"
#include "mainwindow.h"
#include "testsupport.h"

#include "ui_mainwindow.h"

#include <QImage>
#include <QObject>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

// Answers the window's file questions without a dialog and remembers them.
class FakeChooser : public FileChooser
{
public:
    struct Question
    {
        QString caption, dir, filter;
    };
    QString answer;
    std::vector<Question> asked;

    QString openFileName(QWidget *, const QString &caption, const QString &dir,
                         const QString &filter) override
    {
        asked.push_back({caption, dir, filter});
        return answer;
    }
    QString saveFileName(QWidget *, const QString &caption, const QString &dir,
                         const QString &filter) override
    {
        asked.push_back({caption, dir, filter});
        return answer;
    }
};

class WindowFixture : public QObject
{
    Q_OBJECT

protected slots:
    void initTestCase();
    void init();
    void cleanup();

protected:
    // Saves `picture` in the test's folder and opens it through File > Open.
    void open(const QImage &picture, const QString &name = "picture.png");
    // The picture the result item shows, or a null picture.
    QImage shown() const;
    QString write(const QImage &picture, const QString &name);

    QTemporaryDir m_dir;
    std::unique_ptr<MainWindow> m_window;
    FakeChooser *m_chooser = nullptr;
    // Qt's warnings since the window was made.
    QStringList m_warnings;
};

std::vector<unsigned char> edgeMapOf(const QImage &image);

// The values a spy on QProgressBar::valueChanged saw, in order.
std::vector<int> progressValues(const QList<QList<QVariant>> &spy);

// Runs the command-line tool and reads its picture; a null picture when it
// failed or wrote none.
QImage runCli(const QStringList &arguments, const QString &output);
