#pragma once

#include <QStringList>

// libpng and libtiff print some complaints on stderr themselves, in lines
// that name no file ("libpng error: IDAT: CRC error"). While a run lasts,
// stderr is a buffer in memory instead: a read or a write takes in what was
// printed meanwhile and tells it within its own file's message. The tool's
// own messages go out through a copy of the real stderr (messagestream.h),
// taken here first. restoreLibraries() ends the capture.
void captureLibraryOutput();

// What the libraries printed while this lives, taken by take(). With
// several files in flight a line may come from another file's work, so only
// a failure should tell them.
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
