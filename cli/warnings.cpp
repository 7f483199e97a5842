#include "warnings.h"

namespace {

thread_local QStringList *capturedMessages = nullptr;

} // namespace

WarningCapture::WarningCapture()
    : m_previous(capturedMessages)
{
    capturedMessages = &m_messages;
}

WarningCapture::~WarningCapture()
{
    capturedMessages = m_previous;
}

bool WarningCapture::take(const QString &message)
{
    if (!capturedMessages)
        return false;
    capturedMessages->append(message);
    return true;
}

QString withWarnings(const QString &reason, const QStringList &warnings)
{
    if (warnings.isEmpty())
        return reason;
    return reason + QStringLiteral(" (") + warnings.join(QStringLiteral("; ")) + QLatin1Char(')');
}
