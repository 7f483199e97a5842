#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The lines of a small text file the user writes by hand (a settings file,
// a palette), decoded as UTF-8: without their "\n" or "\r\n", and without a
// byte-order mark on the first. Decoding stops at the first line that holds
// a zero byte or is not UTF-8: `lines` are those before it, and `badLine`
// (counted from 1) and `problem` say which and why. A reader goes through
// `lines` first, so that its own complaint about an earlier line comes
// first, and then reports `badLine` if there is one.
struct TextLines
{
    QStringList lines;
    int badLine = 0;
    QString problem;
};

TextLines textLines(const QByteArray &bytes);
