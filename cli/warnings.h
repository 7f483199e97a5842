#pragma once

#include <QString>
#include <QStringList>

// Collects the warnings Qt gives on this thread while it exists, instead of
// printing them: the image plugins explain a failure there.
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
