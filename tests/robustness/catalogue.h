#pragma once

// The catalogue of bad and odd inputs: the committed files of tests/data/bad
// with what reading each must give, and the two that cannot be committed (a
// folder named like a picture, a file nobody may read), made in a folder of
// the test's own.

#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <vector>

namespace catalogue {

enum class Expectation {
    Draws, // read, and every effect draws (the colour sketch may make no picture)
    Refused, // not read
    TooLarge, // not read: refused by the size its header claims
    Either, // cut short or damaged: some readers make a picture of what is there
};

struct Input
{
    QString name;
    QString path;
    Expectation expectation;
    QString what;
    // Read as an unprivileged user: root reads anything.
    bool unprivileged = false;
};

// The committed inputs, in catalogue order; empty when the catalogue is
// missing.
std::vector<Input> committedInputs();
// The inputs made in `dir`: a folder named "folder.png" and "unreadable.png",
// a good picture with no permission at all.
std::vector<Input> madeInputs(const QTemporaryDir &dir);

// Root reads any file and writes into any folder: while one of these
// exists, the process acts as nobody (effective ids), as a user would be.
class AsUnprivileged
{
public:
    AsUnprivileged();
    ~AsUnprivileged();
    AsUnprivileged(const AsUnprivileged &) = delete;
    AsUnprivileged &operator=(const AsUnprivileged &) = delete;

private:
    bool m_switched = false;
};
// For QProcess::setChildProcessModifier(): the child runs as nobody when
// the test runs as root.
std::function<void()> unprivilegedChild();

QString expectationName(Expectation expectation);

} // namespace catalogue
