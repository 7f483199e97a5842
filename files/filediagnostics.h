#pragma once

// What Qt and the image libraries say while a file is read or written. Qt's
// warnings reach a WarningCapture through the front end's message handler;
// what libpng and libtiff print on stderr themselves is kept in memory once
// captureLibraryOutput() has run (LibraryOutput). A failed file's message
// tells both.

#include <QString>
#include <QStringList>

// libpng and libtiff print some complaints on stderr themselves, in lines
// that name no file ("libpng error: IDAT: CRC error"). From here on stderr is
// a buffer in memory instead: a read or a write takes in what was printed
// meanwhile and tells it within its own file's message. A front end that
// prints on stderr itself takes a copy of the descriptor first.
void captureLibraryOutput();

// What the libraries printed while this lives, taken by take(). With
// several files in flight a line may come from another file's work, so only
// a failure should tell them. Empty unless captureLibraryOutput() has run.
class LibraryOutput
{
public:
    LibraryOutput();
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput &) = delete;
    LibraryOutput &operator=(const LibraryOutput &) = delete;

    // The lines printed since this was made, the last few at most.
    QStringList take();

private:
    qint64 m_start;
};

// Collects the warnings Qt gives on this thread while it exists, instead of
// printing them: the image plugins explain a failure there. The front end's
// message handler hands them over through take().
class WarningCapture
{
public:
    WarningCapture();
    ~WarningCapture();
    WarningCapture(const WarningCapture &) = delete;
    WarningCapture &operator=(const WarningCapture &) = delete;

    const QStringList &messages() const { return m_messages; }

    // Gives `message` to the capture of this thread; false when there is none.
    static bool take(const QString &message);

private:
    QStringList m_messages;
    QStringList *m_previous;
};

// `reason` and, in brackets, the warnings that explain it.
QString withWarnings(const QString &reason, const QStringList &warnings);
