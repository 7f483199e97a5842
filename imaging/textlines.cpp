#include "textlines.h"

#include <QList>
#include <QStringDecoder>

TextLines textLines(const QByteArray &bytes)
{
    TextLines text;
    const QList<QByteArray> lines = bytes.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        QByteArray raw = lines.at(i);
        if (raw.endsWith('\r'))
            raw.chop(1);
        if (i == 0 && raw.startsWith("\xEF\xBB\xBF"))
            raw.remove(0, 3);
        if (raw.contains('\0')) {
            text.badLine = i + 1;
            text.problem = QStringLiteral("a zero byte: not a text file");
            return text;
        }
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString line = decoder(raw);
        if (decoder.hasError()) {
            text.badLine = i + 1;
            text.problem = QStringLiteral("not UTF-8 text");
            return text;
        }
        text.lines << line;
    }
    return text;
}
